#include "AppBench.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>

bool waitUntil(const std::function<bool()> &done, int timeoutMs)
{
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > timeoutMs)
            return false;
        QEventLoop loop;
        QTimer::singleShot(2, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

bool startStack(Stack &stack, const QString &binary, const QString &dataDir)
{
    stack.dataDir = dataDir;
    stack.server.setProgram(binary);
    stack.server.setArguments({"--data-dir", dataDir, "--backend-port", "0", "--database-port", "0",
                               "--push-port", "0", "--no-rate-limits"});
    stack.server.start();
    QByteArray output;
    waitUntil(
        [&] {
            output += stack.server.readAllStandardOutput();
            for (const QByteArray &line : output.split('\n')) {
                if (line.startsWith("backend listening on "))
                    stack.backend = line.mid(21).trimmed();
                if (line.startsWith("database listening on "))
                    stack.database = line.mid(22).trimmed();
                if (line.startsWith("push listening on "))
                    stack.push = line.mid(18).trimmed();
            }
            return !stack.backend.isEmpty() && !stack.database.isEmpty() && !stack.push.isEmpty();
        },
        10000);
    if (stack.push.isEmpty())
        return false;
    // What the server says from here on is not needed, but a full pipe would stop it.
    QObject::connect(&stack.server, &QProcess::readyReadStandardOutput, &stack.server,
                     [&stack] { stack.server.readAllStandardOutput(); });
    QObject::connect(&stack.server, &QProcess::readyReadStandardError, &stack.server,
                     [&stack] { stack.server.readAllStandardError(); });
    return true;
}

Stack::~Stack()
{
    if (server.state() == QProcess::NotRunning)
        return;
    server.terminate();
    if (!server.waitForFinished(5000))
        server.kill();
}
