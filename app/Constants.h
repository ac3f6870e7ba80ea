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
