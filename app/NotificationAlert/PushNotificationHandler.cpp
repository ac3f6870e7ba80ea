#include "NotificationAlert/PushNotificationHandler.h"

#include "Common/Firebase/FirebaseNode.h"
#include "LoginDefaults.h"
#include "NotificationAlert/NotificationAlert.h"
#include "Platform/Database.h"
#include "Platform/OneSignal.h"
#include "Platform/Print.h"

namespace {

// The fields every push carries: the text, the one receiving player, a badge raised by one.
QVariantMap baseRequest(const QString &playerId, const QString &message)
{
    return {{QStringLiteral("contents"), QVariantMap{{QStringLiteral("en"), message}}},
            {QStringLiteral("include_player_ids"), QVariantList{playerId}},
            {QStringLiteral("ios_badgeType"), QStringLiteral("Increase")},
            {QStringLiteral("ios_badgeCount"), 1},
            {QStringLiteral("content_available"), true}};
}

} // namespace

PushNotificationHandler::PushNotificationHandler(Database *database, OneSignal *oneSignal)
    : database_(database ? database : &Database::database()),
      oneSignal_(oneSignal ? oneSignal : &OneSignal::shared())
{}

void PushNotificationHandler::sendNotification(const QString &receiverId,
                                               const QString &message) const
{
    postNotification(receiverId, message);
}

void PushNotificationHandler::sendNotificationMessage(const QString &title,
                                                      const QString &receiverId,
                                                      const QString &message) const
{
    postNotificationMessage(title, receiverId, message);
}

void PushNotificationHandler::postNotification(const QString &receiverId,
                                               const QString &message) const
{
    postIfWanted(receiverId, [message](const QString &playerId) {
        QVariantMap request = baseRequest(playerId, message);
        request.insert(QStringLiteral("data"),
                       QVariantMap{{QStringLiteral("futureUse"), QString()}});
        return request;
    });
}

void PushNotificationHandler::postNotificationMessage(const QString &title,
                                                      const QString &receiverId,
                                                      const QString &message) const
{
    const std::optional<QString> senderId = LoginDefaults().userId();
    if (!senderId || senderId->isEmpty()) {
        // The receiver's tap opens the chat with the sender it names; a push naming nobody
        // would open nothing.
        print(QStringLiteral("PushNotificationHandler: no signed-in sender; push not sent"));
        return;
    }
    postIfWanted(receiverId, [title, message, senderId = *senderId](const QString &playerId) {
        QVariantMap request = baseRequest(playerId, message);
        request.insert(QStringLiteral("headings"), QVariantMap{{QStringLiteral("en"), title}});
        request.insert(QStringLiteral("data"), QVariantMap{{QStringLiteral("postID"), senderId}});
        return request;
    });
}

void PushNotificationHandler::postIfWanted(const QString &receiverId,
                                           RequestForPlayer request) const
{
    if (receiverId.isEmpty() || !database_) {
        print(QStringLiteral("PushNotificationHandler: no receiver; push not sent"));
        return;
    }
    const DatabaseReference root = database_->reference();
    const QPointer<OneSignal> oneSignal = oneSignal_;
    root.child(FirebaseNode::notification)
        .child(receiverId)
        .child(NotificationSetting::status)
        .getData([root, oneSignal, receiverId, request = std::move(request)](
                     const std::optional<QString> &error, const DataSnapshot &status) {
            if (error) {
                print(QStringLiteral("PushNotificationHandler: settings of user %1 not read: "
                                     "%2; push not sent")
                          .arg(receiverId, *error));
                return;
            }
            if (status.value().typeId() != QMetaType::QString ||
                status.value().toString() != NotificationSetting::online)
                return;
            root.child(FirebaseNode::users)
                .child(receiverId)
                .child(FirebaseNode::deviceToken)
                .getData([oneSignal, receiverId, request](const std::optional<QString> &error,
                                                          const DataSnapshot &token) {
                    const QString playerId = token.value().typeId() == QMetaType::QString
                                                 ? token.value().toString()
                                                 : QString();
                    if (error || playerId.isEmpty()) {
                        print(QStringLiteral("PushNotificationHandler: user %1 wants pushes but "
                                             "has no device token; push not sent")
                                  .arg(receiverId));
                        return;
                    }
                    if (oneSignal)
                        oneSignal->postNotification(request(playerId));
                });
        });
}
