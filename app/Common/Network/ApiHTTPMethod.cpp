#include "Common/Network/ApiHTTPMethod.h"

QString rawValue(ApiHTTPMethod method)
{
    switch (method) {
    case ApiHTTPMethod::GET:
        return QStringLiteral("GET");
    case ApiHTTPMethod::POST:
        return QStringLiteral("POST");
    }
    return {};
}

template <>
std::optional<ApiHTTPMethod> fromRawValue<ApiHTTPMethod>(const QString &raw)
{
    for (const auto method : {ApiHTTPMethod::GET, ApiHTTPMethod::POST})
        if (rawValue(method) == raw)
            return method;
    return std::nullopt;
}
