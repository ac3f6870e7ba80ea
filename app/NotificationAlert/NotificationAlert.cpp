#include "NotificationAlert/NotificationAlert.h"

#include "Common/Extensions/Localizable.h"
#include "Common/Firebase/FirebaseNode.h"
#include "LoginDefaults.h"
#include "Platform/Database.h"
#include "Platform/Print.h"

#include <memory>

namespace {

// Notifications/<signed-in user>; none without a session, which is said in the log.
std::optional<DatabaseReference> ownRecord(const char *operation)
{
    const std::optional<QString> userId = LoginDefaults().userId();
    if (!userId || userId->isEmpty()) {
        print(QStringLiteral("NotificationAlert: %1 without a signed-in user; nothing done")
                  .arg(QLatin1String(operation)));
        return std::nullopt;
    }
    return Database::database().reference().child(FirebaseNode::notification).child(*userId);
}

} // namespace

NotificationAlert &NotificationAlert::sharedInstance()
{
    static NotificationAlert instance;
    return instance;
}

void NotificationAlert::notificationExist()
{
    const std::optional<DatabaseReference> record = ownRecord("notificationExist");
    if (!record)
        return;
    record->getData(
        [record = *record](const std::optional<QString> &error, const DataSnapshot &stored) {
            if (error) {
                // Not knowing whether a record exists must not put the defaults over one.
                print(QStringLiteral("NotificationAlert: %1 not read: %2")
                          .arg(record.pathString(), *error));
                return;
            }
            if (stored.exists())
                return;
            record.setValue(QVariantMap{{NotificationSetting::status, NotificationSetting::online},
                                        {NotificationSetting::tone, NotificationSetting::on},
                                        {NotificationSetting::vibrate, NotificationSetting::on},
                                        {NotificationSetting::message, NotificationSetting::on}},
                            [](const std::optional<QString> &) {});
        });
}

void NotificationAlert::fetchNotificationSetting()
{
    notificationRefOnOff_ = ownRecord("fetchNotificationSetting");
    if (!notificationRefOnOff_)
        return;
    namespace key = NotificationSetting;
    // The flags count as the user's once all four have been read.
    settingsKnown_ = false;
    auto outstanding = std::make_shared<int>(4);
    const auto answered = [this, outstanding] {
        if (--*outstanding == 0)
            settingsKnown_ = true;
    };
    fetchData(key::status, key::status, [this, answered](bool flag) {
        pushNotification_ = flag;
        answered();
    });
    fetchData(key::tone, key::tone, [this, answered](bool flag) {
        notigicationTone_ = flag;
        answered();
    });
    fetchData(key::vibrate, key::vibrate, [this, answered](bool flag) {
        vibrate_ = flag;
        answered();
    });
    fetchData(key::message, key::message, [this, answered](bool flag) {
        customNotification_ = flag;
        answered();
    });
}

std::optional<PushNotification> presentedAsSettingsAllow(const PushNotification &push)
{
    const NotificationAlert &settings = NotificationAlert::sharedInstance();
    if (!settings.settingsKnown())
        return push;
    if (!settings.pushNotification())
        return std::nullopt;
    if (settings.customNotification())
        return push;
    PushNotification withoutText = push;
    withoutText.body = languageSelectedStringForKey(QStringLiteral("New message"));
    return withoutText;
}

void NotificationAlert::fetchData(const QString &key, const QString &type,
                                  std::function<void(bool)> success)
{
    const std::optional<DatabaseReference> record = ownRecord("fetchData");
    if (!record)
        return;
    record->child(key).getData([key, type, success = std::move(success)](
                                   const std::optional<QString> &error, const DataSnapshot &value) {
        if (error) {
            print(QStringLiteral("NotificationAlert: \"%1\" not read: %2").arg(key, *error));
            return;
        }
        if (value.value().typeId() != QMetaType::QString)
            return;
        const QString text = value.value().toString();
        success(type == NotificationSetting::status ? text != NotificationSetting::offline
                                                    : text == NotificationSetting::on);
    });
}
