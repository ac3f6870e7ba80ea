#include "Platform/ServiceKits.h"

#include "Deployment.h"

#include <QRegularExpression>

namespace {

std::optional<QString> &adMobAppId()
{
    static std::optional<QString> id;
    return id;
}

std::optional<FirebaseOptions> &firebaseOptions()
{
    static std::optional<FirebaseOptions> options;
    return options;
}

QString &placesKey()
{
    static QString key;
    return key;
}

QStringList &crashReportingKits()
{
    static QStringList kits;
    return kits;
}

} // namespace

void AdmobManager::AdmobInit(const QString &adMobAppID)
{
    adMobAppId() = adMobAppID;
    ServiceKitLog::shared().add(QStringLiteral("AdMob: configured with %1").arg(adMobAppID));
}

std::optional<QString> AdmobManager::configuredAppID()
{
    return adMobAppId();
}

IQKeyboardManager &IQKeyboardManager::shared()
{
    static IQKeyboardManager instance;
    return instance;
}

void IQKeyboardManager::setEnable(bool enable)
{
    enable_ = enable;
    ServiceKitLog::shared().add(enable ? QStringLiteral("IQKeyboardManager: enabled")
                                       : QStringLiteral("IQKeyboardManager: disabled"));
}

void FirebaseApp::configure()
{
    firebaseOptions() = FirebaseOptions{Deployment::databaseUrl(), Deployment::storageBucket()};
    ServiceKitLog::shared().add(QStringLiteral("Firebase: configured with database %1")
                                    .arg(firebaseOptions()->databaseURL.toString()));
}

std::optional<FirebaseOptions> FirebaseApp::options()
{
    return firebaseOptions();
}

FBSDKApplicationDelegate &FBSDKApplicationDelegate::sharedInstance()
{
    static FBSDKApplicationDelegate instance;
    return instance;
}

bool FBSDKApplicationDelegate::application(const QVariantMap &launchOptions)
{
    launched_ = true;
    ServiceKitLog::shared().add(
        QStringLiteral("Facebook: launched with %1 launch option(s)").arg(launchOptions.size()));
    return true;
}

bool FBSDKApplicationDelegate::application(const QUrl &open, const QVariantMap &options)
{
    Q_UNUSED(options)
    static const QRegularExpression facebookScheme(QStringLiteral("^fb[0-9]+$"));
    const bool handled = facebookScheme.match(open.scheme()).hasMatch();
    if (handled)
        ServiceKitLog::shared().add(QStringLiteral("Facebook: opened %1").arg(open.scheme()));
    return handled;
}

bool GMSPlacesClient::provideAPIKey(const QString &key)
{
    if (key.isEmpty()) {
        ServiceKitLog::shared().add(QStringLiteral("Google Places: no API key"));
        return false;
    }
    placesKey() = key;
    // A key in a log is a leaked key; the end of a long one is enough to tell which it was.
    ServiceKitLog::shared().add(
        key.size() >= 16 ? QStringLiteral("Google Places: API key ...%1 provided").arg(key.right(4))
                         : QStringLiteral("Google Places: API key provided"));
    return true;
}

QString GMSPlacesClient::apiKey()
{
    return placesKey();
}

void Fabric::with(const QStringList &kits)
{
    crashReportingKits() = kits;
    ServiceKitLog::shared().add(
        QStringLiteral("Fabric: started with %1").arg(kits.join(QStringLiteral(", "))));
}

QStringList Fabric::kits()
{
    return crashReportingKits();
}
