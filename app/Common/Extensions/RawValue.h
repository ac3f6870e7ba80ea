#pragma once

#include <QString>

#include <array>
#include <optional>
#include <utility>

// Enumerations with text raw values: each one specialises fromRawValue and overloads
// rawValue. An unknown text gives no value, never a default case.
template <typename Enum>
std::optional<Enum> fromRawValue(const QString &raw) = delete;

// The two directions over one table of (case, text) pairs, so that each enumeration states
// its texts once.
template <typename Enum, std::size_t N>
std::optional<Enum> rawValueLookUp(const std::array<std::pair<Enum, const char *>, N> &table,
                                   const QString &raw)
{
    for (const auto &[value, text] : table) {
        if (raw == QLatin1String(text))
            return value;
    }
    return std::nullopt;
}

template <typename Enum, std::size_t N>
QString rawValueText(const std::array<std::pair<Enum, const char *>, N> &table, Enum value)
{
    for (const auto &[candidate, text] : table) {
        if (candidate == value)
            return QString::fromLatin1(text);
    }
    return {};
}
