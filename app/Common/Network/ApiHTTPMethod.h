#pragma once

#include "Common/Extensions/RawValue.h"

#include <QString>

enum class ApiHTTPMethod
{
    GET,
    POST
};

QString rawValue(ApiHTTPMethod method);
template <>
std::optional<ApiHTTPMethod> fromRawValue<ApiHTTPMethod>(const QString &raw);
