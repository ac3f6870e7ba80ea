#pragma once

#include <QPointer>
#include <QString>
#include <QVariantMap>

#include <functional>

class Database;
class OneSignal;

// Announces a message on the receiver's device: when the receiver's notification record says
// "online", the notification goes through the push kit to the player id in the receiver's
// user record. Nothing is reported back and nothing is retried. It keeps no state between
// sends, so a temporary may start one and go.
class PushNotificationHandler
{
public:
    // Reads through `database`, posts through `oneSignal` (the app's own unless given).
    explicit PushNotificationHandler(Database *database = nullptr, OneSignal *oneSignal = nullptr);

    void sendNotification(const QString &receiverId, const QString &message) const;
    // The titled push: `title` is the heading (the sender's name), `message` the text, and
    // the signed-in sender's user id goes along as "postID", which opens the chat with the
    // sender on the receiving device.
    void sendNotificationMessage(const QString &title, const QString &receiverId,
                                 const QString &message) const;
    void postNotification(const QString &receiverId, const QString &message) const;
    void postNotificationMessage(const QString &title, const QString &receiverId,
                                 const QString &message) const;

private:
    using RequestForPlayer = std::function<QVariantMap(const QString &playerId)>;
    // Reads the receiver's "noti_status" once and, only when it is the text "online", the
    // receiver's "device_token"; posts the request built for that player id.
    void postIfWanted(const QString &receiverId, RequestForPlayer request) const;

    QPointer<Database> database_;
    QPointer<OneSignal> oneSignal_;
};
