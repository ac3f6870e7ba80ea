#include "AppProcess.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

AppProcess::AppProcess(QString name, QString logDir)
    : name_(std::move(name)), logDir_(std::move(logDir)), process_(std::make_unique<QProcess>())
{}

AppProcess::~AppProcess()
{
    socket_.abort();
    if (process_->state() != QProcess::NotRunning) {
        process_->kill();
        process_->waitForFinished(5000);
    }
}

bool AppProcess::start(const QProcessEnvironment &environment)
{
    QProcessEnvironment env = environment;
    env.insert(QStringLiteral("TAILWISE_HOME"), home_.path());
    env.insert(QStringLiteral("TAILWISE_AUTOMATION_PORT"), QStringLiteral("0"));
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.insert(QStringLiteral("QT_QUICK_BACKEND"), QStringLiteral("software"));
    process_->setProcessEnvironment(env);
    const QString out = logDir_ + '/' + name_ + QStringLiteral(".stdout");
    process_->setStandardOutputFile(out);
    process_->setStandardErrorFile(logDir_ + '/' + name_ + QStringLiteral(".stderr"));
    process_->start(QStringLiteral(TAILWISE_APP_BINARY), {});
    if (!process_->waitForStarted(waitMs)) {
        problem_ = process_->errorString();
        return false;
    }
    static const QRegularExpression listening(
        QStringLiteral("^automation listening on 127\\.0\\.0\\.1:(\\d+)$"),
        QRegularExpression::MultilineOption);
    quint16 port = 0;
    const bool ended = QTest::qWaitFor(
        [&] {
            QFile file(out);
            if (file.open(QIODevice::ReadOnly))
                if (const auto match = listening.match(QString::fromUtf8(file.readAll()));
                    match.hasMatch())
                    port = match.captured(1).toUShort();
            return port != 0 || process_->state() == QProcess::NotRunning;
        },
        waitMs);
    if (!ended || port == 0) {
        problem_ = QStringLiteral("no automation port announced; stderr:\n") + log();
        return false;
    }
    socket_.connectToHost(QHostAddress::LocalHost, port);
    if (!socket_.waitForConnected(waitMs)) {
        problem_ = socket_.errorString();
        return false;
    }
    return true;
}

QJsonObject AppProcess::send(const QJsonObject &command)
{
    socket_.write(QJsonDocument(command).toJson(QJsonDocument::Compact) + '\n');
    // A tap first waits for its item and for the screen to settle; a wait command for its
    // own time. Both stay well within this.
    if (!QTest::qWaitFor([this] { return socket_.canReadLine(); }, waitMs + 10000)) {
        // A late answer would be taken for the next command's: no more commands.
        socket_.abort();
        return {{QStringLiteral("error"), QStringLiteral("no answer from ") + name_}};
    }
    return QJsonDocument::fromJson(socket_.readLine()).object();
}

bool AppProcess::click(const QString &name)
{
    return send({{QStringLiteral("click"), name}}).value(QStringLiteral("ok")).toBool();
}

bool AppProcess::type(const QString &name, const QString &text)
{
    return send({{QStringLiteral("type"), QJsonArray{name, text}}})
        .value(QStringLiteral("ok"))
        .toBool();
}

QJsonValue AppProcess::property(const QString &name, const QString &property)
{
    return send({{QStringLiteral("property"), QJsonArray{name, property}}})
        .value(QStringLiteral("value"));
}

bool AppProcess::waitFor(const QString &name, const QString &property, const QJsonValue &value)
{
    return send({{QStringLiteral("wait"), QJsonArray{name, property, value, waitMs}}})
        .value(QStringLiteral("ok"))
        .toBool();
}

bool AppProcess::waitForText(const QString &name, const QString &property,
                             const std::function<bool(const QString &)> &test)
{
    const QDeadlineTimer deadline(waitMs);
    while (!deadline.hasExpired()) {
        if (test(this->property(name, property).toString()))
            return true;
        QTest::qWait(100);
    }
    return false;
}

bool AppProcess::screenshot(const QString &path)
{
    return send({{QStringLiteral("screenshot"), path}}).value(QStringLiteral("ok")).toBool();
}

bool AppProcess::quit()
{
    if (!send({{QStringLiteral("quit"), true}}).value(QStringLiteral("ok")).toBool())
        return false;
    // The app says goodbye to the services first (at most 3 s).
    return process_->waitForFinished(waitMs) && process_->exitStatus() == QProcess::NormalExit;
}

QString AppProcess::log() const
{
    QFile file(logDir_ + '/' + name_ + QStringLiteral(".stderr"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}
