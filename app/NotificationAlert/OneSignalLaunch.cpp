#include "NotificationAlert/OneSignalLaunch.h"

#include "Constants.h"
#include "LoginDefaults.h"
#include "NotificationAlert/DeviceToken.h"
#include "Platform/OneSignal.h"
#include "Platform/Print.h"
#include "UserPreferences.h"

void startOneSignal(OneSignal &oneSignal, const QVariantMap &launchOptions)
{
    QObject::connect(&oneSignal, &OneSignal::subscriptionChanged, &oneSignal,
                     [](const QString &playerId) {
                         DeviceToken &token = DeviceToken::shared();
                         token.setDeviceToken(playerId);
                         if (LoginDefaults().userId())
                             token.updateDeviceToken();
                     });
    QObject::connect(&oneSignal, &OneSignal::badgeCountChanged, &oneSignal, [](qlonglong count) {
        UserPreferences::shared().setFeedsBadgeCount(static_cast<int>(count));
    });
    oneSignal.initWithLaunchOptions(launchOptions, oneSignalID,
                                    {{kOSSettingsKeyAutoPrompt, false}});
    oneSignal.setInFocusDisplayType(OSNotificationDisplayType::notification);
    oneSignal.promptForPushNotifications([](bool accepted) {
        print(QStringLiteral("User accepted notifications: ") +
              (accepted ? QStringLiteral("true") : QStringLiteral("false")));
    });
}
