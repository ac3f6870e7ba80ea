#pragma once

#include "Common/Extensions/RawValue.h"

// How many dogs a person has, as the backend stores it: the first three texts are one less
// than the case names say.
enum class NumberOfDogs
{
    one,
    two,
    three,
    pack
};

// The only gender texts the app sends or compares.
enum class UserFilter
{
    female,
    male
};

// Hex colour texts for tags.
enum class TagColor
{
    red,
    green,
    yellow
};

QString rawValue(NumberOfDogs value);
QString rawValue(UserFilter value);
QString rawValue(TagColor value);

template <>
std::optional<NumberOfDogs> fromRawValue<NumberOfDogs>(const QString &raw);
template <>
std::optional<UserFilter> fromRawValue<UserFilter>(const QString &raw);
template <>
std::optional<TagColor> fromRawValue<TagColor>(const QString &raw);
