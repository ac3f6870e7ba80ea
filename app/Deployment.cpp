#include "Deployment.h"

#include <QStandardPaths>

QUrl Deployment::serviceUrl(const char *variable, const QString &fallback)
{
    const QString configured = qEnvironmentVariable(variable);
    if (configured.isEmpty())
        return QUrl(fallback);
    QUrl url(configured, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty() || url.host().isEmpty()) {
        qWarning("%s=%s is not an absolute URL; using %s", variable, qPrintable(configured),
                 qPrintable(fallback));
        return QUrl(fallback);
    }
    return url;
}

QString Deployment::text(const char *variable, const QString &fallback)
{
    const QString configured = qEnvironmentVariable(variable).trimmed();
    return configured.isEmpty() ? fallback : configured;
}

QUrl Deployment::backendUrl()
{
    return serviceUrl("TAILWISE_BACKEND", QStringLiteral("http://127.0.0.1:8080"));
}

QUrl Deployment::databaseUrl()
{
    return serviceUrl("TAILWISE_DATABASE", QStringLiteral("http://127.0.0.1:9000"));
}

QUrl Deployment::pushUrl()
{
    return serviceUrl("TAILWISE_PUSH", QStringLiteral("http://127.0.0.1:8081"));
}

QString Deployment::oneSignalAppId()
{
    return text("TAILWISE_PUSH_APP_ID", QStringLiteral("d06f00d0-7a11-4e15-9a5e-000000000001"));
}

QString Deployment::homeDirectory()
{
    const QString configured = qEnvironmentVariable("TAILWISE_HOME");
    if (!configured.isEmpty())
        return configured;
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
}

std::chrono::milliseconds Deployment::requestTimeout()
{
    constexpr std::chrono::milliseconds fallback = std::chrono::seconds(30);
    const QByteArray configured = qgetenv("TAILWISE_REQUEST_TIMEOUT_MS");
    if (configured.isEmpty())
        return fallback;
    bool ok = false;
    const int milliseconds = configured.toInt(&ok);
    if (!ok || milliseconds <= 0) {
        // Zero would mean "never give up" to the network layer: exactly what must not happen.
        qWarning("TAILWISE_REQUEST_TIMEOUT_MS=%s is not a positive number of milliseconds; "
                 "using %lld",
                 configured.constData(), static_cast<long long>(fallback.count()));
        return fallback;
    }
    return std::chrono::milliseconds(milliseconds);
}

QUrl Deployment::uploadUrl()
{
    return serviceUrl("TAILWISE_UPLOADS", backendUrl().toString());
}

QUrl Deployment::webUrl()
{
    return serviceUrl("TAILWISE_WEB", backendUrl().toString());
}

QUrl Deployment::privacyPolicyUrl()
{
    return webUrl().resolved(QUrl(QStringLiteral("/privacy")));
}

QUrl Deployment::termsOfUseUrl()
{
    return webUrl().resolved(QUrl(QStringLiteral("/terms")));
}

QString Deployment::storageBucket()
{
    return text("TAILWISE_STORAGE", QStringLiteral("gs://tailwise-local"));
}

QString Deployment::appStoreId()
{
    return text("TAILWISE_APPSTORE_ID", QStringLiteral("0000000000"));
}

QString Deployment::backgroundSessionIdentifier()
{
    return QStringLiteral("app.tailwise.Tailwise.background");
}

QString Deployment::configuredLocation()
{
    return text("TAILWISE_LOCATION", QString());
}

bool Deployment::locationServicesEnabled()
{
    return configuredLocation().compare(QLatin1String("off"), Qt::CaseInsensitive) != 0;
}

QString Deployment::adMobAppId()
{
    return text("TAILWISE_ADMOB_APP_ID", QStringLiteral("ca-app-pub-3940256099942544~1458002511"));
}

QString Deployment::bannerAdUnitId()
{
    return text("TAILWISE_ADMOB_BANNER_UNIT",
                QStringLiteral("ca-app-pub-3940256099942544/2934735716"));
}

QString Deployment::bannerTestDevice()
{
    return text("TAILWISE_ADMOB_TEST_DEVICE", QString());
}

QString Deployment::placesKey()
{
    return text("TAILWISE_PLACES_KEY", QString());
}

QString Deployment::googleClientId()
{
    return text("TAILWISE_GOOGLE_CLIENT_ID",
                QStringLiteral("tailwise-local.apps.googleusercontent.com"));
}

QString Deployment::googleApiKey()
{
    return text("TAILWISE_GOOGLE_API_KEY", QString());
}

QString Deployment::iOSAppLink()
{
    return text("TAILWISE_IOS_APP_LINK",
                QStringLiteral("https://apps.apple.com/app/id") + appStoreId());
}

QString Deployment::androidAppLink()
{
    return text(
        "TAILWISE_ANDROID_APP_LINK",
        QStringLiteral("https://play.google.com/store/apps/details?id=app.tailwise.Tailwise"));
}
