// Locations, keys and the JSON tree of the realtime database: what is stored, what is read
// back, what is refused.

#include "realtime/PushId.h"
#include "realtime/Tree.h"

#include <gtest/gtest.h>

#include <set>

using namespace tailwise::realtime;
using tailwise::net::http::status;

namespace {

Json parse(const char *text)
{
    return Json::parse(text);
}

struct PathCase
{
    std::string url;
    Path keys;     // when accepted
    bool accepted; // else 400
};

TEST(RealtimePaths, UrlPathsBecomeValidatedKeys)
{
    const std::string longest(maxKeyBytes, 'k');
    std::string deepest, tooDeep;
    for (std::size_t i = 0; i < maxDepth; ++i)
        deepest += "/d";
    tooDeep = deepest + "/d";
    const std::vector<PathCase> cases = {
        {"/.json", {}, true},
        {"/users/12/status.json", {"users", "12", "status"}, true},
        {"/a/b%20c.json", {"a", "b c"}, true},
        {"//a///b/.json", {"a", "b"}, true},
        {"/%C3%BCber.json",
         {"\xc3\xbc"
          "ber"},
         true},
        {"/" + longest + ".json", {longest}, true},
        {deepest + ".json", Path(maxDepth, "d"), true},
        {"/a/b", {}, false},                   // no .json
        {"/" + longest + "k.json", {}, false}, // key too long
        {tooDeep + ".json", {}, false},
        {"/a.b.json", {}, false},
        {"/a$b.json", {}, false},
        {"/a#b.json", {}, false},
        {"/a[0].json", {}, false},
        {"/a%2Fb.json", {}, false}, // a slash inside one key
        {"/a%2.json", {}, false},   // broken escape
        {"/a%zz.json", {}, false},
        {"/a%00b.json", {}, false},
        {"/a%1Fb.json", {}, false},
        {"/a%7Fb.json", {}, false},
        {"/a%FFb.json", {}, false},  // not UTF-8
        {"/%C0%AF.json", {}, false}, // overlong UTF-8
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.url);
        if (c.accepted) {
            EXPECT_EQ(parseUrlPath(c.url), c.keys);
        } else {
            try {
                parseUrlPath(c.url);
                ADD_FAILURE() << "accepted";
            } catch (const Refusal &refusal) {
                EXPECT_EQ(refusal.status(), status::bad_request);
            }
        }
    }
}

struct WriteCase
{
    const char *name;
    Path at;
    const char *value;
    const char *rootAfter; // starting from kStart
};

constexpr const char *kStart = R"({"a": {"b": 1, "c": {"d": 2}}, "e": "x"})";

TEST(RealtimeTree, WritesReplaceDeleteAndPruneEmptyParents)
{
    const std::vector<WriteCase> cases = {
        {"replace a leaf", {"a", "b"}, "5", R"({"a": {"b": 5, "c": {"d": 2}}, "e": "x"})"},
        {"new deep location",
         {"n", "m", "o"},
         "true",
         R"({"a": {"b": 1, "c": {"d": 2}}, "e": "x", "n": {"m": {"o": true}}})"},
        {"replace a subtree whole", {"a"}, R"({"z": 0})", R"({"a": {"z": 0}, "e": "x"})"},
        {"null deletes", {"e"}, "null", R"({"a": {"b": 1, "c": {"d": 2}}})"},
        {"empty object deletes", {"a", "b"}, "{}", R"({"a": {"c": {"d": 2}}, "e": "x"})"},
        {"empty parents vanish", {"a", "c", "d"}, "null", R"({"a": {"b": 1}, "e": "x"})"},
        {"nested nulls vanish", {"a"}, R"({"b": null, "c": {"d": null}})", R"({"e": "x"})"},
        {"deleting an absent location", {"q", "r"}, "null", kStart},
        {"below a leaf", {"e", "f"}, "1", R"({"a": {"b": 1, "c": {"d": 2}}, "e": {"f": 1}})"},
        {"arrays become objects",
         {"l"},
         R"([10, null, {"x": [true]}])",
         R"({"a": {"b": 1, "c": {"d": 2}}, "e": "x", "l": {"0": 10, "2": {"x": {"0": true}}}})"},
        {"the root", {}, "null", "null"},
        {".value unwrapped, .priority dropped",
         {"p"},
         R"({".value": {"k": 1, ".priority": 3}})",
         R"({"a": {"b": 1, "c": {"d": 2}}, "e": "x", "p": {"k": 1}})"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        Tree tree;
        tree.set({}, parse(kStart));
        tree.set(c.at, prepareValue(parse(c.value), tree.find(c.at), c.at.size(), 0));
        EXPECT_EQ(tree.root(), parse(c.rootAfter));
    }
}

TEST(RealtimeTree, BadDataIsRefusedWithItsStatus)
{
    std::string deep = "1";
    for (std::size_t i = 0; i < maxDepth; ++i)
        deep = R"({"k": )" + deep + "}";
    const std::vector<std::pair<std::string, status>> cases = {
        {R"({"a.b": 1})", status::bad_request},
        {R"({"a": {"$x": 1}})", status::bad_request},
        {R"({"": 1})", status::bad_request},
        {R"([{"a/b": 1}])", status::bad_request},
        {deep, status::bad_request},
        {R"({".sv": "now"})", status::bad_request},
        {R"({"a": {".sv": {"decrement": 1}}})", status::bad_request},
        {R"({".sv": {"increment": "1"}})", status::bad_request},
        {R"({".sv": "timestamp", "x": 1})", status::bad_request},
        {"\"" + std::string(maxStringBytes + 1, 's') + "\"", status::payload_too_large},
    };
    for (const auto &[value, expected] : cases) {
        SCOPED_TRACE(value.substr(0, 60));
        try {
            prepareValue(Json::parse(value), nullptr, 1, 0);
            ADD_FAILURE() << "accepted";
        } catch (const Refusal &refusal) {
            EXPECT_EQ(refusal.status(), expected);
        }
    }
    // The same depth is fine one level up.
    EXPECT_NO_THROW(prepareValue(Json::parse(deep), nullptr, 0, 0));
}

TEST(RealtimeTree, ServerValuesResolveAgainstTheStoredValue)
{
    const Json stored = parse(R"({"n": 5, "f": 1.5, "s": "text", "big": 9223372036854775807})");
    const auto at = [&](const char *key) { return &stored[key]; };
    const auto increment = [](const char *by) {
        return Json::parse(std::string(R"({".sv": {"increment": )") + by + "}}");
    };
    EXPECT_EQ(prepareValue(parse(R"({".sv": "timestamp"})"), nullptr, 1, 1234), 1234);
    EXPECT_EQ(prepareValue(increment("2"), at("n"), 1, 0), 7);
    EXPECT_EQ(prepareValue(increment("-7"), at("n"), 1, 0), -2);
    EXPECT_EQ(prepareValue(increment("0.5"), at("n"), 1, 0), 5.5);
    EXPECT_EQ(prepareValue(increment("1"), at("f"), 1, 0), 2.5);
    EXPECT_EQ(prepareValue(increment("3"), at("s"), 1, 0), 3); // not a number: the delta
    EXPECT_EQ(prepareValue(increment("3"), nullptr, 1, 0), 3);
    EXPECT_TRUE(prepareValue(increment("1"), at("big"), 1, 0).is_number_float()); // overflow
    // Nested server values see the stored value at their own location.
    EXPECT_EQ(prepareValue(parse(R"({"n": {".sv": {"increment": 1}}, "t": {".sv": "timestamp"}})"),
                           &stored, 0, 99),
              parse(R"({"n": 6, "t": 99})"));
}

TEST(RealtimeTree, ReadsGiveArraysByTheSdkRule)
{
    const std::vector<std::pair<const char *, const char *>> cases = {
        {R"({"0": "a", "1": "b"})", R"(["a", "b"])"},
        {R"({"0": "a", "2": "c"})", R"(["a", null, "c"])"},       // 2 < 2*2
        {R"({"1": "b"})", R"([null, "b"])"},                      // 1 < 2*1
        {R"({"3": "d"})", R"({"3": "d"})"},                       // 3 >= 2*1
        {R"({"0": "a", "01": "b"})", R"({"0": "a", "01": "b"})"}, // leading zero
        {R"({"0": "a", "-1": "b"})", R"({"0": "a", "-1": "b"})"},
        {R"({"0": "a", "x": "b"})", R"({"0": "a", "x": "b"})"},
        {R"({"k": {"0": 1, "1": {"0": true}}})", R"({"k": [1, [true]]})"},
        {"7", "7"},
    };
    for (const auto &[stored, read] : cases) {
        SCOPED_TRACE(stored);
        EXPECT_EQ(render(parse(stored)), parse(read));
    }
}

TEST(RealtimePushIds, TimeOrderedStrictlyIncreasingAndFromTheAlphabet)
{
    PushIdGenerator ids;
    // 1700000000000 ms in base 64 over the alphabet.
    const std::string first = ids.next(1'700'000'000'000);
    EXPECT_EQ(first.size(), 20u);
    EXPECT_EQ(first.substr(0, 8), "-NjEtLV-");
    std::string previous = first;
    std::set<std::string> seen{first};
    // Many ids in one millisecond, one from an earlier millisecond (a clock step back), then
    // later ones: every id sorts after the one before.
    for (int i = 0; i < 5000; ++i) {
        const std::int64_t now = i < 4000 ? 1'700'000'000'000 : 1'699'999'999'000 + i;
        const std::string id = ids.next(now);
        ASSERT_EQ(id.size(), 20u);
        ASSERT_EQ(id.find_first_not_of(pushIdAlphabet), std::string::npos) << id;
        ASSERT_GT(id, previous);
        seen.insert(id);
        previous = id;
    }
    EXPECT_EQ(seen.size(), 5001u);
    EXPECT_GT(ids.next(1'700'000'001'000).substr(0, 8), first.substr(0, 8));
}

} // namespace
