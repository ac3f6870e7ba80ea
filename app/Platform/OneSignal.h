#pragma once

#include "Platform/PushDeviceStream.h"

#include <QNetworkAccessManager>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariantMap>

#include <functional>

class NotificationCenter;
class UserDefaults;

// The settings key that lets the kit ask for push permission by itself when it starts.
inline const QString kOSSettingsKeyAutoPrompt = QStringLiteral("kOSSettingsKeyAutoPrompt");

// How a push that arrives while the app is active is shown.
enum class OSNotificationDisplayType
{
    none = 0,         // not at all
    inAppAlert = 1,   // in the app's banner at once
    notification = 2, // as a system notification, which the notification centre's will-present
                      // decides on
};

// The OneSignal kit, speaking OneSignal's REST API (v1) to the push relay at
// Deployment::pushUrl(). It registers this install as a player, keeping a device identifier
// of its own in the settings store so that the install keeps its player id across runs;
// posts notifications for the app; and while the app runs, holds the player's device stream
// and hands every push to the notification centre. Opening the app (ApplicationState becoming
// active) clears the badge.
class OneSignal : public QObject
{
    Q_OBJECT

public:
    // `store` keeps the kit's identifier, player id and stream position; `center` gets the
    // pushes. Neither is owned.
    OneSignal(UserDefaults &store, NotificationCenter &center, QObject *parent = nullptr);
    ~OneSignal() override;

    // The app's kit, on the standard settings store and the current notification centre.
    static OneSignal &shared();

    // Starts the kit under `appId`: the player is registered (or found again) with the relay,
    // retried with back-off while the relay cannot be reached, and its device stream opened.
    // A desktop launch carries no launch options; they are accepted as a phone's kit takes
    // them. Unless `settings` holds kOSSettingsKeyAutoPrompt = false, permission is asked for
    // at once.
    void initWithLaunchOptions(const QVariantMap &launchOptions, const QString &appId,
                               const QVariantMap &settings);

    OSNotificationDisplayType inFocusDisplayType() const { return inFocusDisplayType_; }
    void setInFocusDisplayType(OSNotificationDisplayType type) { inFocusDisplayType_ = type; }

    // A desktop has no permission dialog: the answer is yes, given on the event loop.
    void promptForPushNotifications(std::function<void(bool accepted)> userResponse);

    // Sends the notification request `jsonData` (OneSignal's create-notification fields) to
    // the relay under this kit's application id. A refusal is logged; `completion`, when
    // given, learns whether the relay took the notification for every player it names.
    void postNotification(const QVariantMap &jsonData,
                          std::function<void(bool accepted)> completion = {});

    // This install's player id; empty until the relay has registered it once.
    QString userId() const { return playerId_; }
    // The badge as the last push set it; 0 again when the app is opened.
    qlonglong badgeCount() const { return badgeCount_; }

Q_SIGNALS:
    // The player id became known, or the relay gave this install a new one.
    void subscriptionChanged(const QString &userId);
    void badgeCountChanged(qlonglong badgeCount);

private:
    void registerPlayer();
    void playerRegistered(const QString &playerId);
    void openDeviceStream();
    void received(const EventStreamParser::Event &event);
    void clearBadgeIfOpen();
    void setBadgeCount(qlonglong count);
    QNetworkRequest request(const QString &path) const;

    UserDefaults &store_;
    NotificationCenter &center_;
    QNetworkAccessManager network_;
    PushDeviceStream stream_;
    QTimer registrationRetry_;
    int registrationAttempt_ = 0;
    QString appId_;
    QString identifier_;
    QString playerId_;
    // The player whose device stream the relay said it does not know.
    QString streamRefusedFor_;
    OSNotificationDisplayType inFocusDisplayType_ = OSNotificationDisplayType::inAppAlert;
    qlonglong badgeCount_ = 0;
    // Recently delivered notification ids: a relay that restarts may send one again.
    QStringList recentlyDelivered_;
};
