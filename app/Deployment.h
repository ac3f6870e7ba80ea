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
    // The legal pages the landing screen opens: /privacy and /terms under the web site.
    static QUrl privacyPolicyUrl();
    static QUrl termsOfUseUrl();
    // TAILWISE_STORAGE: the file storage bucket, a gs:// address.
    static QString storageBucket();
    // TAILWISE_APPSTORE_ID: the app's identifier in the store.
    static QString appStoreId();
    // Reverse-domain identifier of the background transfers (the offline status report).
    static QString backgroundSessionIdentifier();

    // TAILWISE_LOCATION: "latitude,longitude" puts the device there (LocationManager);
    // "off" stands for the device's location services switched off. Default: empty.
    static QString configuredLocation();
    static bool locationServicesEnabled();

    // TAILWISE_ADMOB_APP_ID and TAILWISE_ADMOB_BANNER_UNIT, default Google's published test
    // ids, which only ever serve test ads: a build nobody configured cannot earn or cost money.
    static QString adMobAppId();
    static QString bannerAdUnitId();
    // TAILWISE_ADMOB_TEST_DEVICE: a device that gets test ads from real units; default none.
    static QString bannerTestDevice();
    // TAILWISE_PLACES_KEY: the Google Places API key; default none.
    static QString placesKey();
    // TAILWISE_GOOGLE_CLIENT_ID: the app's Google sign-in client id, the one the server's
    // `--oidc-client-id google=...` names; default the local stack's.
    static QString googleClientId();
    // TAILWISE_GOOGLE_API_KEY: the second Google API key; default none.
    static QString googleApiKey();
    // TAILWISE_IOS_APP_LINK, default the store page of appStoreId().
    static QString iOSAppLink();
    // TAILWISE_ANDROID_APP_LINK, default the Play store page of the app's package.
    static QString androidAppLink();

private:
    static QUrl serviceUrl(const char *variable, const QString &fallback);
    static QString text(const char *variable, const QString &fallback);
};
