#pragma once

#include <QString>

#include <optional>

// Enumerations with text raw values: each one specialises fromRawValue and overloads
// rawValue. An unknown text gives no value, never a default case.
template <typename Enum>
std::optional<Enum> fromRawValue(const QString &raw) = delete;
