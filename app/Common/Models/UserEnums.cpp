#include "UserEnums.h"

#include <array>
#include <utility>

namespace {

template <typename Enum, std::size_t N>
std::optional<Enum> lookUp(const std::array<std::pair<Enum, const char *>, N> &table,
                           const QString &raw)
{
    for (const auto &[value, text] : table) {
        if (raw == QLatin1String(text))
            return value;
    }
    return std::nullopt;
}

template <typename Enum, std::size_t N>
QString textOf(const std::array<std::pair<Enum, const char *>, N> &table, Enum value)
{
    for (const auto &[candidate, text] : table) {
        if (candidate == value)
            return QString::fromLatin1(text);
    }
    return {};
}

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
    return textOf(numberOfDogsTexts, value);
}
QString rawValue(UserFilter value)
{
    return textOf(userFilterTexts, value);
}
QString rawValue(TagColor value)
{
    return textOf(tagColorTexts, value);
}

template <>
std::optional<NumberOfDogs> fromRawValue<NumberOfDogs>(const QString &raw)
{
    return lookUp(numberOfDogsTexts, raw);
}

template <>
std::optional<UserFilter> fromRawValue<UserFilter>(const QString &raw)
{
    return lookUp(userFilterTexts, raw);
}

template <>
std::optional<TagColor> fromRawValue<TagColor>(const QString &raw)
{
    return lookUp(tagColorTexts, raw);
}
