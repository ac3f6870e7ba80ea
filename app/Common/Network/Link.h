#pragma once

#include <QString>

// Every fixed external address the app knows. The hosts come from Deployment.
enum class Link
{
    appStore,
    baseURL,
    imageBaseURL,
    firebaseDatabase,
    firebaseStorage,
    termsOfUse,
    privacypolicy,
    appStoreLink,
    // Written without a scheme on purpose; whoever opens it must cope with that.
    helpUrl,
};

QString rawValue(Link link);
