#pragma once

#include "Platform/ServiceKitLog.h"
#include "Platform/SignInKits.h"

#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>

#include <optional>

// Stand-ins for the service kits the launch configures that have no desktop counterpart
// (ads, keyboard avoidance, Firebase's configuration, Facebook, Places, crash reporting).
// Each records what it was configured with and adds one line to ServiceKitLog; Google
// sign-in lives with the other sign-in kits.

// The app's wrapper of the AdMob kit.
class AdmobManager
{
public:
    // Configures the ads kit for the application `adMobAppID`.
    void AdmobInit(const QString &adMobAppID);
    // The application id the ads kit was last configured with.
    static std::optional<QString> configuredAppID();
};

// Keeps text fields above the on-screen keyboard in every screen, once enabled. Qt Quick's
// input handling does this by itself on phones; the switch is kept for the launch order.
class IQKeyboardManager
{
public:
    static IQKeyboardManager &shared();
    void setEnable(bool enable);
    bool enable() const { return enable_; }

private:
    IQKeyboardManager() = default;
    bool enable_ = false;
};

// What Firebase's configuration file would hold.
struct FirebaseOptions
{
    QUrl databaseURL;
    QString storageBucket;
};

class FirebaseApp
{
public:
    // Takes the database and storage addresses from Deployment, as they are now. Configuring
    // again takes them afresh (the phone's kit refuses a second call; nothing here is lost
    // by allowing it, and tests launch many times in one process).
    static void configure();
    // None until configured.
    static std::optional<FirebaseOptions> options();
};

// The Facebook kit's application delegate.
class FBSDKApplicationDelegate
{
public:
    static FBSDKApplicationDelegate &sharedInstance();
    // The launch, with its options (a desktop launch has none). Always true.
    bool application(const QVariantMap &launchOptions);
    // A URL the app was opened with: true when it is Facebook's ("fb" and the app's number,
    // the scheme its login answers on).
    bool application(const QUrl &open, const QVariantMap &options);
    bool hasLaunched() const { return launched_; }

private:
    FBSDKApplicationDelegate() = default;
    bool launched_ = false;
};

// The maps and places kit's key.
class GMSPlacesClient
{
public:
    // False, and nothing provided, for an empty key.
    static bool provideAPIKey(const QString &key);
    static QString apiKey();
};

// Crash reporting.
class Fabric
{
public:
    static void with(const QStringList &kits);
    // The kits started, in order; empty before with().
    static QStringList kits();
};
