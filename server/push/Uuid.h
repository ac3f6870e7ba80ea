#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tailwise::push {

// A random (version 4) UUID in lowercase, 8-4-4-4-12 hex digits: player and notification ids.
std::string newUuid();

// The id in the canonical lowercase form when `text` is a UUID written 8-4-4-4-12 (either
// case), else nullopt. Any version is accepted, as ids from the hosted service may be.
std::optional<std::string> canonicalUuid(std::string_view text);

} // namespace tailwise::push
