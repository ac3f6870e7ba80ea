#include "Platform/UI/Automation.h"

#include "Platform/Print.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

#include <cstdio>

namespace {

QJsonObject failure(const QString &error)
{
    return {{QStringLiteral("ok"), false}, {QStringLiteral("error"), error}};
}

QJsonObject success(const QJsonValue &value = QJsonValue::Undefined)
{
    QJsonObject answer{{QStringLiteral("ok"), true}};
    if (!value.isUndefined())
        answer.insert(QStringLiteral("value"), value);
    return answer;
}

QString notVisible(const QString &name)
{
    return QStringLiteral("no visible object named \"%1\"").arg(name);
}

bool allTexts(const QJsonArray &arguments, qsizetype count)
{
    if (arguments.size() < count)
        return false;
    for (qsizetype index = 0; index < count; ++index)
        if (!arguments.at(index).isString())
            return false;
    return true;
}

QByteArray compact(const QJsonObject &answer)
{
    return QJsonDocument(answer).toJson(QJsonDocument::Compact);
}

} // namespace

Automation::Automation(QQuickWindow *window, QObject *parent) : QObject(parent), driver_(window)
{
    // A second driver would interleave its taps with the first one's: it waits its turn in
    // the kernel's queue rather than in ours.
    server_.setMaxPendingConnections(1);
    connect(&server_, &QTcpServer::newConnection, this, &Automation::accept);
}

Automation::~Automation()
{
    if (client_)
        client_->abort();
}

bool Automation::listen(quint16 port)
{
    return server_.listen(QHostAddress::LocalHost, port);
}

std::unique_ptr<Automation> Automation::fromEnvironment(QQuickWindow *window)
{
    if (!qEnvironmentVariableIsSet("TAILWISE_AUTOMATION_PORT"))
        return nullptr;
    const QString text = qEnvironmentVariable("TAILWISE_AUTOMATION_PORT");
    bool isNumber = false;
    const uint port = text.toUInt(&isNumber);
    if (!isNumber || port > 65535) {
        print(QStringLiteral("TAILWISE_AUTOMATION_PORT \"%1\" is not a port; automation stays off")
                  .arg(text));
        return nullptr;
    }
    auto automation = std::make_unique<Automation>(window);
    if (!automation->listen(static_cast<quint16>(port))) {
        print(QStringLiteral("automation cannot listen on 127.0.0.1:%1: %2")
                  .arg(port)
                  .arg(automation->server_.errorString()));
        return nullptr;
    }
    // On stdout, where a driver that asked for port 0 reads which one it got.
    std::printf("automation listening on 127.0.0.1:%u\n", unsigned(automation->port()));
    std::fflush(stdout);
    return automation;
}

void Automation::accept()
{
    while (QTcpSocket *socket = server_.nextPendingConnection()) {
        if (client_) {
            socket->write(compact({{QStringLiteral("error"),
                                    QStringLiteral("another driver is connected")}}) +
                          '\n');
            socket->flush();
            socket->disconnectFromHost();
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            continue;
        }
        client_ = socket;
        // Commands run from the event loop, never inside the socket's own signal: their waits
        // run the loop, which may delete the socket of a driver that went away.
        connect(socket, &QTcpSocket::readyRead, this, &Automation::readCommands,
                Qt::QueuedConnection);
        connect(socket, &QTcpSocket::disconnected, this, &Automation::dropClient);
        QMetaObject::invokeMethod(this, &Automation::readCommands, Qt::QueuedConnection);
    }
}

void Automation::dropClient()
{
    if (!client_)
        return;
    client_->deleteLater();
    client_ = nullptr;
}

void Automation::readCommands()
{
    // A command's waits run the event loop, which may deliver more lines: they are read
    // by the loop below once the command has answered, never inside it.
    if (busy_)
        return;
    busy_ = true;
    while (client_ && !quitting_) {
        const QByteArray pending = client_->peek(maximumLineBytes + 2);
        qsizetype end = pending.indexOf('\n');
        if (end < 0) {
            if (pending.size() > maximumLineBytes) {
                client_->write(
                    compact({{QStringLiteral("error"),
                              QStringLiteral("line longer than %1 bytes").arg(maximumLineBytes)}}) +
                    '\n');
                client_->flush();
                client_->disconnectFromHost();
                dropClient();
            }
            break;
        }
        QByteArray line = client_->read(end + 1);
        line.chop(1);
        if (line.endsWith('\r'))
            line.chop(1);
        const QByteArray reply = answer(line);
        if (!client_)
            break; // the driver went away while the command ran
        client_->write(reply + '\n');
        client_->flush();
    }
    busy_ = false;
    if (quitting_)
        QTimer::singleShot(0, qApp, &QCoreApplication::quit);
}

QByteArray Automation::answer(const QByteArray &line)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    if (error.error != QJsonParseError::NoError)
        return compact({{QStringLiteral("error"), error.errorString()}});
    if (!document.isObject() || document.object().size() != 1)
        return compact(
            {{QStringLiteral("error"), QStringLiteral("a command is an object with one key")}});
    return compact(perform(document.object()));
}

QJsonObject Automation::perform(const QJsonObject &command)
{
    const QString verb = command.begin().key();
    const QJsonValue argument = command.begin().value();
    const QJsonArray arguments = argument.toArray();
    if (verb == QLatin1String("click") && argument.isString())
        return driver_.click(argument.toString()) ? success()
                                                  : failure(notVisible(argument.toString()));
    if (verb == QLatin1String("type") && allTexts(arguments, 2) && arguments.size() == 2) {
        const QString name = arguments.at(0).toString();
        if (!driver_.item(name))
            return failure(notVisible(name));
        return driver_.type(name, arguments.at(1).toString())
                   ? success()
                   : failure(QStringLiteral("\"%1\" did not take the text").arg(name));
    }
    if (verb == QLatin1String("property") && allTexts(arguments, 2) && arguments.size() == 2) {
        bool found = false;
        const QJsonValue value =
            propertyValue(arguments.at(0).toString(), arguments.at(1).toString(), found);
        return found ? success(value) : failure(value.toString());
    }
    if (verb == QLatin1String("wait") && allTexts(arguments, 2) && arguments.size() == 4 &&
        arguments.at(3).isDouble())
        return waitFor(arguments);
    if (verb == QLatin1String("screenshot") && argument.isString())
        return driver_.screenshot(argument.toString())
                   ? success()
                   : failure(QStringLiteral("could not save \"%1\"").arg(argument.toString()));
    if (verb == QLatin1String("quit") && argument == QJsonValue(true)) {
        quitting_ = true;
        return success();
    }
    return {
        {QStringLiteral("error"), QStringLiteral("unknown command or arguments: %1").arg(verb)}};
}

QJsonObject Automation::waitFor(const QJsonArray &arguments)
{
    const QString name = arguments.at(0).toString();
    const QString property = arguments.at(1).toString();
    const QJsonValue expected = arguments.at(2);
    const double timeout = arguments.at(3).toDouble();
    if (!(timeout >= 0 && timeout <= maximumWaitMs))
        return {{QStringLiteral("error"),
                 QStringLiteral("a wait lasts 0 to %1 ms").arg(maximumWaitMs)}};
    QJsonValue last;
    // The object is looked up afresh each time: screens come and go while we wait.
    const auto matches = [&] {
        bool found = false;
        last = propertyValue(name, property, found);
        if (!found)
            last = QJsonValue::Null;
        return found && last == expected;
    };
    const bool met = matches() || QTest::qWaitFor(matches, static_cast<int>(timeout));
    return {{QStringLiteral("ok"), met}, {QStringLiteral("value"), last}};
}

QJsonValue Automation::propertyValue(const QString &name, const QString &property,
                                     bool &found) const
{
    found = false;
    QObject *object = findVisibleObject(driver_.window()->contentItem(), name);
    if (!object)
        return notVisible(name);
    const QByteArray key = property.toUtf8();
    const QVariant value = object->property(key.constData());
    if (!value.isValid())
        return QStringLiteral("\"%1\" has no property \"%2\"").arg(name, property);
    found = true;
    return QJsonValue::fromVariant(value);
}
