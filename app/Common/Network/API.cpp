#include "Common/Network/API.h"

#include "Common/Network/Link.h"

QString API::baseURL()
{
    return rawValue(Link::baseURL);
}

QString API::imageBaseURL()
{
    return rawValue(Link::imageBaseURL);
}

QString API::pictureAddress(const QString &reference)
{
    if (reference.isEmpty())
        return {};
    if (reference.startsWith(QLatin1String("http://")) ||
        reference.startsWith(QLatin1String("https://")))
        return reference;
    return imageBaseURL() + reference;
}
