// A client's JSON on its way into the realtime tree, as a PUT takes it: parsed, prepared for
// a location, increments resolved against the stored tree, spliced in and printed. The first
// input byte picks the location's depth, the second its first key; the rest is the body.

#include "Check.h"
#include "http/Json.h"
#include "realtime/Tree.h"

#include <array>
#include <cstdint>
#include <string>

using namespace tailwise;
using namespace tailwise::realtime;

namespace {

constexpr std::int64_t now = 1'700'000'000'000;

// Numbers at the edges of each kind, for increments to land on.
const NodePtr &storedTree()
{
    static const NodePtr tree = prepareValue(Json::parse(R"({
        "a": {"b": {"c": 1, "d": "text"}, "n": 5, "f": 0.5},
        "0": true,
        "1": 2.5,
        "max": 9223372036854775807,
        "min": -9223372036854775808,
        "u": 18446744073709551615,
        "big": 1.7976931348623157e308
    })"),
                                             0, 0)
                                    .value;
    return tree;
}

Path location(std::size_t depth, std::uint8_t first)
{
    static constexpr std::array firstKeys = {"a", "0", "1", "max", "min", "u", "big", "new"};
    static constexpr std::array belowKeys = {"b", "c", "n"};
    Path path;
    for (std::size_t i = 0; i < depth; ++i) {
        if (i == 0)
            path.emplace_back(firstKeys[first % firstKeys.size()]);
        else if (i <= belowKeys.size())
            path.emplace_back(belowKeys[i - 1]);
        else
            path.push_back("k" + std::to_string(i));
    }
    return path;
}

// What a value prepared at `depth` prints as must read back, journal-style, as the same value.
void checkRoundTrip(const NodePtr &value, std::size_t depth, Form form)
{
    const std::string text = jsonText(value, form);
    FUZZ_CHECK(net::nestingWithin(text, maxDepth - depth),
               "a value nests no deeper than its location allows");
    const auto parsed = net::parseJson(text, maxJsonNesting);
    FUZZ_CHECK(parsed, "a printed value is JSON");
    const PreparedValue again = prepareValue(*parsed, depth, 0);
    FUZZ_CHECK(again.increments.empty(), "a printed value holds no server values");
    FUZZ_CHECK(sameValue(again.value, value), "a printed value reads back as the same value");
}

void run(std::size_t depth, std::uint8_t first, std::string_view body)
{
    const auto json = net::parseJson(body, maxJsonNesting);
    if (!json)
        return;
    const Path at = location(depth, first);
    const NodePtr &before = storedTree();
    PreparedValue prepared = prepareValue(*json, depth, now);
    const std::vector<PendingIncrement> increments = prepared.increments;
    const NodePtr value = resolveIncrements(before, at, std::move(prepared));

    for (const auto &increment : increments) {
        const NodePtr written = find(value, increment.at);
        FUZZ_CHECK(written && !written->isObject() && written->scalar().is_number(),
                   "an increment leaves a number");
        const NodePtr current = find(before, join(at, increment.at));
        if (!current || current->isObject() || !current->scalar().is_number())
            FUZZ_CHECK(written->scalar() == increment.delta,
                       "an increment of no number stores the delta");
    }

    checkRoundTrip(value, depth, Form::stored);
    // Reading turns dense integer keys into arrays; preparing turns them back.
    checkRoundTrip(value, depth, Form::read);
    (void)toJson(value);

    const NodePtr after = setAt(before, at, value);
    FUZZ_CHECK(sameValue(find(after, at), value), "the value is where it was written");

    // The value's children as a multi-location update: all at once, whole or from their
    // common location, the same as one after another.
    if (value && value->isObject() && at.size() < maxDepth) {
        std::vector<std::pair<Path, NodePtr>> writes;
        NodePtr oneByOne = before;
        for (const auto &entry : value->children()) {
            writes.emplace_back(join(at, {entry.key}), entry.value);
            oneByOne = setAt(oneByOne, writes.back().first, entry.value);
        }
        FUZZ_CHECK(sameValue(setAll(before, writes), oneByOne),
                   "an update writes what its writes one at a time write");
        FUZZ_CHECK(sameValue(setAll(find(before, at), writes, at.size()), find(oneByOne, at)),
                   "an update rebuilds its common location alike");
    }
    for (const auto &entry : before->children()) {
        if (at.empty() || entry.key == at.front())
            continue;
        FUZZ_CHECK(after && after->child(entry.key) == entry.value,
                   "locations off the written path are shared, not copied");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < 2)
        return 0;
    const std::size_t depth = data[0] % (maxDepth + 1);
    const std::string_view body(reinterpret_cast<const char *>(data + 2), size - 2);
    try {
        run(depth, data[1], body);
    } catch (const Refusal &refusal) {
        FUZZ_CHECK(refusal.status() == net::http::status::bad_request ||
                       refusal.status() == net::http::status::payload_too_large,
                   "a refused write answers 400 or 413");
    }
    return 0;
}
