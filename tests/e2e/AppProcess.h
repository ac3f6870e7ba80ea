#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QProcessEnvironment>
#include <QString>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <functional>
#include <memory>

class QProcess;

// One `tailwise` app in a process of its own, with its own settings, worked through its
// automation channel. Its stdout and stderr go to files under `logDir`, named after it, so a
// failed run leaves them to read. The process is killed when this goes.
class AppProcess
{
public:
    // Every wait of a command is at most this long.
    static constexpr int waitMs = 15000;

    AppProcess(QString name, QString logDir);
    ~AppProcess();
    AppProcess(const AppProcess &) = delete;
    AppProcess &operator=(const AppProcess &) = delete;

    // Starts the app with `environment` plus its own home, the offscreen platform and an
    // automation port, and connects to it; false (and `problem()` says why) when it did not
    // come up within `waitMs`.
    bool start(const QProcessEnvironment &environment);
    QString problem() const { return problem_; }

    // Sends one command and answers its reply, or {"error": ...} when none came in time.
    QJsonObject send(const QJsonObject &command);
    bool click(const QString &name);
    bool type(const QString &name, const QString &text);
    QJsonValue property(const QString &name, const QString &property);
    // Until the property equals `value`.
    bool waitFor(const QString &name, const QString &property, const QJsonValue &value);
    // Until the property's text passes `test`; polled, for texts that are only partly known.
    bool waitForText(const QString &name, const QString &property,
                     const std::function<bool(const QString &)> &test);
    bool screenshot(const QString &path);
    // Asks the app to quit and waits for the process to end on its own.
    bool quit();

    // What the app wrote on stderr so far.
    QString log() const;
    QString name() const { return name_; }

private:
    QString name_;
    QString logDir_;
    QTemporaryDir home_;
    std::unique_ptr<QProcess> process_;
    QTcpSocket socket_;
    QString problem_;
};
