#include "Module/Chat/Model/OnlineNotification.h"

#include "Common/Firebase/FirebaseNode.h"
#include "Platform/Database.h"
#include "Platform/Print.h"

namespace {

const QString online = QStringLiteral("Online");

DatabaseReference statusOf(const QString &uid)
{
    return Database::database()
        .reference()
        .child(FirebaseNode::users)
        .child(uid)
        .child(FirebaseNode::status);
}

} // namespace

OnlineNotification &OnlineNotification::shared()
{
    static OnlineNotification instance;
    return instance;
}

void OnlineNotification::fetchData(const QString &uid, std::function<void(bool)> success) const
{
    statusOf(uid).getData([uid, success = std::move(success)](const std::optional<QString> &error,
                                                              const DataSnapshot &status) {
        if (error)
            print(QStringLiteral("OnlineNotification: status of user %1 not read: %2")
                      .arg(uid, *error));
        success(!error && status.value().typeId() == QMetaType::QString &&
                status.value().toString() == online);
    });
}

void OnlineNotification::fecthOnlineStatus(const QString &userID)
{
    if (userStatusRef_ && observer_)
        userStatusRef_->removeObserver(observer_);
    observer_ = 0;
    // Until the new partner's status is known, the previous one's must not show.
    setOnline(false);
    userStatusRef_ = statusOf(userID);
    observer_ = userStatusRef_->observe(
        DataEventType::value,
        [this](const DataSnapshot &status) {
            setOnline(status.value().typeId() == QMetaType::QString &&
                      status.value().toString() == online);
        },
        [this, userID](const QString &error) {
            observer_ = 0;
            print(QStringLiteral("OnlineNotification: status of user %1 not followed: %2")
                      .arg(userID, error));
        });
}

void OnlineNotification::setOnline(bool online)
{
    if (isOnline_ == online)
        return;
    isOnline_ = online;
    Q_EMIT
    onlineStatusChanged(online);
}
