#include "Module/Login/SessionHooks.h"

#include "Common/Firebase/FirebaseNode.h"
#include "Common/Firebase/FirebaseUserHandler.h"
#include "Module/Chat/Model/ChatModels.h"
#include "NotificationAlert/NotificationAlert.h"
#include "Platform/Database.h"
#include "Platform/Print.h"

#include <utility>

namespace {

AppSessionHooks appHooks;
SessionHooks *installed = nullptr;

} // namespace

SessionHooks &SessionHooks::standard()
{
    return installed ? *installed : appHooks;
}

SessionHooks *SessionHooks::setStandard(SessionHooks *hooks)
{
    return std::exchange(installed, hooks);
}

Database &AppSessionHooks::database() const
{
    return database_ ? *database_ : Database::database();
}

void AppSessionHooks::userDidSignIn(const QString &)
{
    // The session is stored by now; the record is the signed-in user's.
    NotificationAlert::sharedInstance().notificationExist();
    // What this user's pushes may show on this device.
    NotificationAlert::sharedInstance().fetchNotificationSetting();
}

void AppSessionHooks::mirrorSignedInUser(const QVariantMap &userData)
{
    const QVariantMap info = DSUser(userData).firebaseInfo();
    if (info.value(QStringLiteral("id")).toString().isEmpty()) {
        // The backend's answer names no user: there is no record to mirror into.
        print(QStringLiteral("FirebaseUserHandler: user data without \"user_id\"; not "
                             "mirrored"));
        return;
    }
    FirebaseUserHandler(database()).mirror(info);
}

void AppSessionHooks::markUserDeactivated(const QString &userId)
{
    const FirebaseUserHandler handler(database());
    handler.setUserValue(userId, QStringLiteral("activate_status"), QStringLiteral("Deactivate"));
    handler.setUserValue(userId, FirebaseNode::deviceToken, QString());
}
