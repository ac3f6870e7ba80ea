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
    const QString configured = qEnvironmentVariable("TAILWISE_PUSH_APP_ID");
    return configured.isEmpty() ? QStringLiteral("d06f00d0-7a11-4e15-9a5e-000000000001")
                                : configured;
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

QString Deployment::storageBucket()
{
    const QString configured = qEnvironmentVariable("TAILWISE_STORAGE");
    return configured.isEmpty() ? QStringLiteral("gs://tailwise-local") : configured;
}

QString Deployment::appStoreId()
{
    const QString configured = qEnvironmentVariable("TAILWISE_APPSTORE_ID");
    return configured.isEmpty() ? QStringLiteral("0000000000") : configured;
}

QString Deployment::backgroundSessionIdentifier()
{
    return QStringLiteral("app.tailwise.Tailwise.background");
}
