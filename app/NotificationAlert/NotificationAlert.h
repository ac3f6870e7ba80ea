#pragma once

#include "Platform/PushNotification.h"

#include "Platform/DatabaseReference.h"

#include <QString>

#include <functional>
#include <optional>

// The keys of a notification settings record (Notifications/<user id>) and their texts.
namespace NotificationSetting {

inline const QString status = QStringLiteral("noti_status");
inline const QString tone = QStringLiteral("tone");
inline const QString vibrate = QStringLiteral("vibrate");
inline const QString message = QStringLiteral("message");

inline const QString online = QStringLiteral("online");
inline const QString offline = QStringLiteral("offline");
inline const QString on = QStringLiteral("on");

} // namespace NotificationSetting

// The signed-in user's notification settings: seeds the record in the realtime database and
// reads it into flags. The user is the one LoginDefaults holds; without one nothing is read or
// written. Reads and writes go through the app's database client.
class NotificationAlert
{
public:
    static NotificationAlert &sharedInstance();

    bool customNotification() const { return customNotification_; }
    void setCustomNotification(bool value) { customNotification_ = value; }
    bool notigicationTone() const { return notigicationTone_; }
    void setNotigicationTone(bool value) { notigicationTone_ = value; }
    bool vibrate() const { return vibrate_; }
    void setVibrate(bool value) { vibrate_ = value; }
    bool light() const { return light_; }
    void setLight(bool value) { light_ = value; }
    bool pushNotification() const { return pushNotification_; }
    void setPushNotification(bool value) { pushNotification_ = value; }
    bool favMark() const { return favMark_; }
    void setFavMark(bool value) { favMark_ = value; }
    // The signed-in user's record, once fetchNotificationSetting() has run.
    const std::optional<DatabaseReference> &notificationRefOnOff() const
    {
        return notificationRefOnOff_;
    }

    // Writes the default record ("online", and "on" for tone, vibration and message) when the
    // user has none. An existing record, or one that could not be read, is left alone.
    void notificationExist();
    // Reads the record into the flags: "noti_status" into pushNotification, "tone" into
    // notigicationTone, "vibrate" into vibrate and "message" (show the text in the push) into
    // customNotification.
    void fetchNotificationSetting();
    // Reads `key` of the record once and, when it holds a text, reports it as a flag by the
    // rule of `type`: for "noti_status" anything but "offline" is on (an unknown status still
    // wants pushes); for every other type only "on" is on. No callback when the value is not
    // a text or cannot be read.
    void fetchData(const QString &key, const QString &type, std::function<void(bool)> success);
    // Whether the flags hold the signed-in user's settings (read, or set by the settings
    // screen) rather than their defaults.
    bool settingsKnown() const { return settingsKnown_; }
    void setSettingsKnown(bool known) { settingsKnown_ = known; }

private:
    NotificationAlert() = default;

    bool customNotification_ = false;
    bool notigicationTone_ = false;
    bool vibrate_ = false;
    bool light_ = false;
    bool pushNotification_ = false;
    bool favMark_ = false;
    bool settingsKnown_ = false;
    std::optional<DatabaseReference> notificationRefOnOff_;
};

// A push as the signed-in user's settings let it show: not at all when pushes are off, without
// the message text when the preview is off, as it came while the settings are not known.
std::optional<PushNotification> presentedAsSettingsAllow(const PushNotification &push);
