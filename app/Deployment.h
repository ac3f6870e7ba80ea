#pragma once

#include <QString>
#include <QUrl>

#include <chrono>

// Where the app's services live. Every value defaults to the local tailwise-server stack and
// can be pointed elsewhere (a hosted backend, database or push service) through the
// environment, which is also how tests reach servers on ephemeral ports.
class Deployment
{
public:
    // TAILWISE_BACKEND, default http://127.0.0.1:8080
    static QUrl backendUrl();
    // TAILWISE_DATABASE, default http://127.0.0.1:9000
    static QUrl databaseUrl();
    // TAILWISE_PUSH, default http://127.0.0.1:8081
    static QUrl pushUrl();
    // TAILWISE_PUSH_APP_ID: the OneSignal application id pushes are registered and sent
    // under; default the fixed id the local push relay serves.
    static QString oneSignalAppId();
    // TAILWISE_HOME, default the platform's app-data location: settings and queues live here.
    static QString homeDirectory();
    // TAILWISE_REQUEST_TIMEOUT_MS, default 30 s: how long a backend request may go without a
    // byte moving before it is given up, so that a silent server ends in a failure rather
    // than a progress indicator that never goes away.
    static std::chrono::milliseconds requestTimeout();
    // TAILWISE_UPLOADS, default the backend, which serves the uploaded pictures itself.
    static QUrl uploadUrl();
    // TAILWISE_WEB: the product web site (terms, privacy policy, help); default the backend.
    static QUrl webUrl();
    // TAILWISE_STORAGE: the file storage bucket, a gs:// address.
    static QString storageBucket();
    // TAILWISE_APPSTORE_ID: the app's identifier in the store.
    static QString appStoreId();
    // Reverse-domain identifier of the background transfers (the offline status report).
    static QString backgroundSessionIdentifier();

private:
    static QUrl serviceUrl(const char *variable, const QString &fallback);
};
