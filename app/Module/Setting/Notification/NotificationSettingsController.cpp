#include "Module/Setting/Notification/NotificationSettingsController.h"

#include "Common/Firebase/FirebaseNode.h"
#include "Common/Models/UserEnums.h"
#include "LoginDefaults.h"
#include "NotificationAlert/NotificationAlert.h"
#include "Platform/Database.h"
#include "Platform/UI/Lifetime.h"

namespace {

const QString on = QStringLiteral("on");
const QString off = QStringLiteral("off");

QString onOff(bool value)
{
    return value ? on : off;
}

} // namespace

NotificationSettingsController::NotificationSettingsController(QObject *parent)
    : ViewController(parent)
{
    setTitleKey(QStringLiteral("Notification"));
}

void NotificationSettingsController::viewDidLoad()
{
    const QString me = LoginDefaults().userId().value_or(QString());
    if (me.isEmpty())
        return;
    Database::database()
        .reference(FirebaseNode::notification + '/' + me)
        .getData(whileAlive(
            this, [this](const std::optional<QString> &error, const DataSnapshot &record) {
                const QVariantMap stored = record.value().toMap();
                // The same rules as the settings record is read by everywhere: an unknown
                // status counts as on, an unknown tone, vibration or preview as off.
                const auto text = [&](const char *key) { return stored.value(key).toString(); };
                if (!error && !stored.isEmpty()) {
                    pushes_ = text("noti_status") != QLatin1String("offline");
                    tone_ = text("tone") == on;
                    vibration_ = text("vibrate") == on;
                    preview_ = text("message") == on;
                }
                NotificationAlert &alert = NotificationAlert::sharedInstance();
                alert.setPushNotification(pushes_);
                alert.setNotigicationTone(tone_);
                alert.setVibrate(vibration_);
                alert.setCustomNotification(preview_);
                loaded_ = true;
                Q_EMIT
                settingsChanged();
            }));
}

void NotificationSettingsController::write(const QString &key, const QString &value)
{
    const QString me = LoginDefaults().userId().value_or(QString());
    if (!me.isEmpty())
        Database::database()
            .reference(FirebaseNode::notification + '/' + me + '/' + key)
            .setValue(value);
    Q_EMIT
    settingsChanged();
}

void NotificationSettingsController::setPushes(bool value)
{
    if (value == pushes_)
        return;
    pushes_ = value;
    NotificationAlert::sharedInstance().setPushNotification(value);
    write(QStringLiteral("noti_status"),
          value ? QStringLiteral("online") : QStringLiteral("offline"));
}

void NotificationSettingsController::setTone(bool value)
{
    if (value == tone_)
        return;
    tone_ = value;
    NotificationAlert::sharedInstance().setNotigicationTone(value);
    write(QStringLiteral("tone"), onOff(value));
}

void NotificationSettingsController::setVibration(bool value)
{
    if (value == vibration_)
        return;
    vibration_ = value;
    NotificationAlert::sharedInstance().setVibrate(value);
    write(QStringLiteral("vibrate"), onOff(value));
}

void NotificationSettingsController::setPreview(bool value)
{
    if (value == preview_)
        return;
    preview_ = value;
    NotificationAlert::sharedInstance().setCustomNotification(value);
    write(QStringLiteral("message"), onOff(value));
}

int NotificationSettingsController::lightColour() const
{
    // The store keeps the colour by its position plus one: an absent key reads as 0, none.
    const int stored = LoginDefaults().ledColour().value_or(0);
    return stored >= 1 && stored <= 3 ? stored - 1 : -1;
}

void NotificationSettingsController::setLightColour(int colour)
{
    if (colour < -1 || colour > 2 || colour == lightColour())
        return;
    LoginDefaults().setLedColour(colour < 0 ? std::nullopt : std::optional<int>(colour + 1));
    NotificationAlert::sharedInstance().setLight(colour >= 0);
    Q_EMIT
    settingsChanged();
}

QStringList NotificationSettingsController::lightColours() const
{
    return {rawValue(TagColor::red), rawValue(TagColor::green), rawValue(TagColor::yellow)};
}
