#pragma once

#include "Path.h"

#include <nlohmann/json.hpp>

#include <cstdint>

namespace tailwise::realtime {

using Json = nlohmann::json;

inline constexpr std::size_t maxStringBytes = 10 * 1024 * 1024;

// The database's JSON tree in its stored form: objects are never empty, hold no nulls and no
// arrays; an absent location is null.
class Tree
{
public:
    // nullptr when nothing is stored there.
    const Json *find(const Path &path) const;
    Json get(const Path &path) const;
    // `value` must be in stored form; null removes the location, and parents left empty go too.
    void set(const Path &path, Json value);
    const Json &root() const { return root_; }

private:
    void remove(const Path &path);

    Json root_;
};

// A client's value turned into stored form, for writing at a location `depth` keys deep whose
// current value is `current` (nullptr when absent): arrays become objects keyed "0", "1", ...;
// nulls and empty objects vanish; ".value" is unwrapped and ".priority" dropped; server values
// {".sv": ...} are resolved. Throws Refusal for bad keys, too deep data, oversize strings and
// unknown server values.
Json prepareValue(const Json &input, const Json *current, std::size_t depth, std::int64_t nowMs);

// The stored form as clients read it: an object whose keys are all array indexes without
// leading zeros, the largest below twice their number, is an array (gaps are null).
Json render(const Json &stored);

} // namespace tailwise::realtime
