#pragma once

#include "Platform/UI/ItemLookup.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QObject>
#include <QPointer>
#include <QTcpServer>

#include <memory>

class QTcpSocket;

// Lets a test driver on this machine work the app's window from another process: one JSON
// command per line on a loopback TCP connection, one JSON answer per line.
//
//   {"click": "name"}                          -> {"ok": true}
//   {"type": ["name", "text"]}                 -> {"ok": true}
//   {"property": ["name", "prop"]}             -> {"ok": true, "value": ...}
//   {"wait": ["name", "prop", value, ms]}      -> {"ok": true|false, "value": last seen}
//   {"screenshot": "/path.png"}                -> {"ok": true}
//   {"quit": true}                             -> {"ok": true}, then the app quits
//
// A command that cannot be done answers {"ok": false, "error": ...}; a line that is not a
// command answers {"error": ...}. Names are objectNames on the visible screen.
class Automation : public QObject
{
    Q_OBJECT

public:
    // Longest command line accepted; a longer one ends the connection.
    static constexpr qsizetype maximumLineBytes = 64 * 1024;
    // Longest wait a command may ask for.
    static constexpr int maximumWaitMs = 120'000;

    explicit Automation(QQuickWindow *window, QObject *parent = nullptr);
    ~Automation() override;

    // Listens on 127.0.0.1 only; port 0 picks a free one. False when the port is taken.
    bool listen(quint16 port);
    quint16 port() const { return server_.serverPort(); }

    // Only when TAILWISE_AUTOMATION_PORT is set: listens on that port and says where on
    // stdout. None when the variable is unset, or when it is not a port or the port is
    // taken (then stderr says why).
    static std::unique_ptr<Automation> fromEnvironment(QQuickWindow *window);

    // One command line's answer, without the newline.
    QByteArray answer(const QByteArray &line);

private:
    void accept();
    void readCommands();
    void dropClient();
    QJsonObject perform(const QJsonObject &command);
    QJsonObject waitFor(const QJsonArray &arguments);
    QJsonValue propertyValue(const QString &name, const QString &property, bool &found) const;

    ItemDriver driver_;
    QTcpServer server_;
    QPointer<QTcpSocket> client_;
    // A command is running (its waits run the event loop): later lines stay buffered.
    bool busy_ = false;
    bool quitting_ = false;
};
