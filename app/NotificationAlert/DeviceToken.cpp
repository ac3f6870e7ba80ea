#include "NotificationAlert/DeviceToken.h"

#include "Common/Firebase/FirebaseNode.h"
#include "Common/Firebase/FirebaseUserHandler.h"
#include "LoginDefaults.h"
#include "Platform/Print.h"

DeviceToken &DeviceToken::shared()
{
    static DeviceToken instance;
    return instance;
}

void DeviceToken::updateDeviceToken()
{
    const auto userId = LoginDefaults().userId();
    if (!userId) {
        // Without a session there is no record to write into; writing under an empty id
        // would create a stray node at the users root.
        print(QStringLiteral("DeviceToken: no signed-in user; device token not written"));
        return;
    }
    FirebaseUserHandler().setUserValue(*userId, FirebaseNode::deviceToken, deviceToken_);
}
