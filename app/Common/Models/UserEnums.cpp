#include "UserEnums.h"

#include <array>
#include <utility>

namespace {

constexpr std::array<std::pair<NumberOfDogs, const char *>, 4> numberOfDogsTexts = {{
    {NumberOfDogs::one, "0"},
    {NumberOfDogs::two, "1"},
    {NumberOfDogs::three, "2"},
    {NumberOfDogs::pack, "pack"},
}};

constexpr std::array<std::pair<UserFilter, const char *>, 2> userFilterTexts = {{
    {UserFilter::female, "female"},
    {UserFilter::male, "male"},
}};

constexpr std::array<std::pair<TagColor, const char *>, 3> tagColorTexts = {{
    {TagColor::red, "#FC3E38"},
    {TagColor::green, "#2CDC76"},
    {TagColor::yellow, "#F8C51C"},
}};

} // namespace

QString rawValue(NumberOfDogs value)
{
    return rawValueText(numberOfDogsTexts, value);
}
QString rawValue(UserFilter value)
{
    return rawValueText(userFilterTexts, value);
}
QString rawValue(TagColor value)
{
    return rawValueText(tagColorTexts, value);
}

template <>
std::optional<NumberOfDogs> fromRawValue<NumberOfDogs>(const QString &raw)
{
    return rawValueLookUp(numberOfDogsTexts, raw);
}

template <>
std::optional<UserFilter> fromRawValue<UserFilter>(const QString &raw)
{
    return rawValueLookUp(userFilterTexts, raw);
}

template <>
std::optional<TagColor> fromRawValue<TagColor>(const QString &raw)
{
    return rawValueLookUp(tagColorTexts, raw);
}
