#pragma once

#include "Deployment.h"

#include <QString>

// Keys of the settings store that have no accessor type of their own.
struct Constants
{
    struct userDefaults
    {
        // The interface language code ("de" or "en").
        static inline const QString languagecode = QStringLiteral("languageCode");
    };
};

// How far sign-up has come; the launch decision reads this key and nothing else.
struct RegisterStatus
{
    static inline const QString key = QStringLiteral("RegisterStatus");
    static inline const QString success = QStringLiteral("Success");
    static inline const QString inProgress = QStringLiteral("In_Progress");
};

// The OneSignal application id the push kit is started with; a deployment value.
inline const QString oneSignalID = Deployment::oneSignalAppId();

// Service identifiers, deployment values (see Deployment for the variables and defaults).
inline const QString adMobAppID = Deployment::adMobAppId();
inline const QString bannerAdUnit = Deployment::bannerAdUnitId();
inline const QString BannerTestDevice = Deployment::bannerTestDevice();
inline const QString GMSPlacesKey = Deployment::placesKey();
inline const QString ClientID = Deployment::googleClientId();

struct AppKeys
{
    static inline const QString googleApicKey = Deployment::googleApiKey();
};

// The store pages of the two apps.
inline const QString iOSAppLink = Deployment::iOSAppLink();
inline const QString androidAppLink = Deployment::androidAppLink();

// What the share screen shares: `invitation`, in the language the caller shows, followed by
// the two store links, one a line.
inline QString ShareAppLink(const QString &invitation)
{
    return invitation + QStringLiteral("\n\niPhone: ") + iOSAppLink +
           QStringLiteral("\nAndroid: ") + androidAppLink;
}

inline const QString appHighlightColor = QStringLiteral("#007AFF");
inline const QString lightGrayColor = QStringLiteral("#E3E3E3");

// Whether the app uses the device's position: off only where location services are.
inline const bool ISlocationEnabled = Deployment::locationServicesEnabled();

// The text font; Debian's fonts-dejavu-core has it on every machine the app is built on.
inline const QString fontName1 = QStringLiteral("DejaVu Sans");
