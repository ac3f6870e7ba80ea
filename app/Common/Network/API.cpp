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
