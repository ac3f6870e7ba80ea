#include "Common/Network/Link.h"

#include "Deployment.h"

#include <QUrl>

namespace {

QString origin(const QUrl &url)
{
    return url.toString(QUrl::RemovePath | QUrl::RemoveQuery | QUrl::RemoveFragment |
                        QUrl::StripTrailingSlash);
}

// A configured address may carry a path prefix of its own (a backend behind a reverse
// proxy); the fixed paths are appended to it without doubling the slash.
QString prefix(const QUrl &url)
{
    QString text = url.toString(QUrl::RemoveQuery | QUrl::RemoveFragment);
    while (text.endsWith(QLatin1Char('/')))
        text.chop(1);
    return text;
}

} // namespace

QString rawValue(Link link)
{
    switch (link) {
    case Link::appStore:
        return QString();
    case Link::baseURL:
        return prefix(Deployment::backendUrl()) + QStringLiteral("/app/backend/app/users/");
    case Link::imageBaseURL:
        return prefix(Deployment::uploadUrl()) + QStringLiteral("/projects/tailapp/uploads/");
    case Link::firebaseDatabase:
        return prefix(Deployment::databaseUrl());
    case Link::firebaseStorage:
        return Deployment::storageBucket();
    case Link::termsOfUse:
        return origin(Deployment::webUrl()) + QStringLiteral("/legal/termsofuse.html");
    case Link::privacypolicy:
        return origin(Deployment::webUrl()) + QStringLiteral("/legal/privacypolicy.html");
    case Link::appStoreLink:
        return QStringLiteral("itms-apps://itunes.apple.com/app/id") + Deployment::appStoreId();
    case Link::helpUrl:
        return Deployment::webUrl().host() +
               (Deployment::webUrl().port() == -1
                    ? QString()
                    : QLatin1Char(':') + QString::number(Deployment::webUrl().port())) +
               QStringLiteral("/help");
    }
    return {};
}
