#pragma once

#include "Node.h"
#include "Path.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tailwise::realtime {

inline constexpr std::size_t maxStringBytes = 10 * 1024 * 1024;
// How deep a written JSON text may nest: each level of the tree may come wrapped in
// {".value": ...}, and a server value adds one more.
inline constexpr std::size_t maxJsonNesting = 2 * maxDepth + 2;

// The value at `path` under `root`; nullptr when absent.
NodePtr find(const NodePtr &root, const Path &path);

// A new tree with `value` at `path`; nullptr removes the location, and parents left empty go
// too. Shares everything off the path with `root`.
NodePtr setAt(const NodePtr &root, const Path &path, NodePtr value);

// A new tree with each value at its path, as one change: the paths must not be one inside
// another. Locations with many written children are rebuilt once, not once per write. With
// `depth`, `root` is the value at the first `depth` keys of every path, which all share them.
NodePtr setAll(const NodePtr &root, const std::vector<std::pair<Path, NodePtr>> &writes,
               std::size_t depth = 0);

// {".sv": {"increment": n}} in written data: it depends on the stored value, so it is
// resolved when the write is applied.
struct PendingIncrement
{
    Path at; // below the written location
    Json delta;
};

struct PreparedValue
{
    NodePtr value; // increments hold their delta until resolved
    std::vector<PendingIncrement> increments;
};

// A client's value turned into stored form, for writing `depth` keys deep: arrays become
// objects keyed "0", "1", ...; nulls and empty objects vanish; ".value" is unwrapped and
// ".priority" dropped; timestamps are resolved. Throws Refusal for bad keys, too deep data,
// oversize strings and unknown server values. Recursion is bounded by the nesting it counts.
PreparedValue prepareValue(const Json &input, std::size_t depth, std::int64_t nowMs);

// The value to write at `at`, its increments resolved against `before` (the tree as it is
// before the write). Throws Refusal when an increment leaves no finite number.
NodePtr resolveIncrements(const NodePtr &before, const Path &at, PreparedValue prepared);

// The number an increment of `current` by `delta` stores: the delta alone when `current` is
// absent or not a number; integers while they fit, else a double.
Json incremented(const NodePtr &current, const Json &delta);

enum class Form
{
    stored, // objects as kept
    read,   // as clients read them: objects keyed like an array are arrays (the SDKs' rule)
};

// Appends the value's JSON text (null when absent). `drain`, when given, is called whenever
// `out` has grown past a megabyte and must take its contents, so large values can be
// written out without being held as one text.
void appendJson(std::string &out, const NodePtr &value, Form form,
                const std::function<void(std::string &)> &drain = {});
std::string jsonText(const NodePtr &value, Form form = Form::read);
Json toJson(const NodePtr &value, Form form = Form::read);

} // namespace tailwise::realtime
