#include "NotificationAlert/DeviceToken.h"

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
    if (!writer_) {
        print(QStringLiteral("DeviceToken: realtime database not wired yet; device token of "
                             "user %1 not written")
                  .arg(*userId));
        return;
    }
    writer_(*userId, deviceToken_);
}
