// Locations, keys and the JSON tree of the realtime database: what is stored, what is read
// back, what is refused.

#include "realtime/PushId.h"
#include "realtime/Tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

using namespace tailwise::realtime;
using tailwise::net::http::status;

namespace {

Json parse(const char *text)
{
    return Json::parse(text);
}

NodePtr tree(const Json &value)
{
    return prepareValue(value, 0, 0).value;
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
        const NodePtr before = tree(parse(kStart));
        const NodePtr after =
            setAt(before, c.at, prepareValue(parse(c.value), c.at.size(), 0).value);
        EXPECT_EQ(toJson(after, Form::stored), parse(c.rootAfter));
        // The tree written over is a version of its own and stays as it was.
        EXPECT_EQ(toJson(before, Form::stored), parse(kStart));
    }
}

// The children structure against the obvious reference: a sorted map. Enough keys for
// several levels of blocks, inserted, replaced and removed in random order, with every older
// version checked to be unchanged.
TEST(RealtimeTree, ChildrenBehaveLikeASortedMapAndKeepTheirVersions)
{
    struct KeyOrder
    {
        bool operator()(const std::string &a, const std::string &b) const
        {
            return compareKeys(a, b) < 0;
        }
    };
    std::mt19937 random(7);
    const auto someKey = [&] {
        const int kind = random() % 3;
        if (kind == 0)
            return std::to_string(static_cast<int>(random() % 4000) - 100);
        if (kind == 1)
            return std::string("k") + std::to_string(random() % 4000);
        return PushIdGenerator().next(1'700'000'000'000 + random() % 1000);
    };
    Children children;
    std::map<std::string, int, KeyOrder> expected;
    std::vector<std::pair<Children, std::map<std::string, int, KeyOrder>>> versions;
    for (int step = 0; step < 6000; ++step) {
        const std::string key = someKey();
        if (random() % 4 == 0) {
            children = children.without(key);
            expected.erase(key);
        } else {
            children = children.with(key, Node::leaf(step));
            expected[key] = step;
        }
        if (step % 1000 == 0)
            versions.emplace_back(children, expected);
    }
    versions.emplace_back(children, expected);
    for (const auto &[version, reference] : versions) {
        ASSERT_EQ(version.size(), reference.size());
        std::size_t index = 0;
        auto it = version.begin();
        for (const auto &[key, value] : reference) {
            ASSERT_NE(it, version.end());
            ASSERT_EQ(it->key, key);
            ASSERT_EQ(it->value->scalar(), value);
            ASSERT_EQ(version.at(index)->key, key);
            ASSERT_EQ(version.lowerBound(key), index);
            ASSERT_EQ(version.upperBound(key), index + 1);
            ASSERT_NE(version.find(key), nullptr);
            ++it;
            ++index;
        }
        EXPECT_EQ(it, version.end());
        EXPECT_EQ(version.find("absent"), nullptr);
    }
    // Many changes merged at once, the same as one at a time.
    std::vector<Children::Entry> changes;
    for (int i = 0; i < 3000; ++i) {
        const std::string key = someKey();
        if (std::any_of(changes.begin(), changes.end(),
                        [&](const auto &c) { return c.key == key; }))
            continue;
        const bool remove = random() % 3 == 0;
        changes.push_back({key, remove ? nullptr : Node::leaf(-i)});
        if (remove)
            expected.erase(key);
        else
            expected[key] = -i;
    }
    std::sort(changes.begin(), changes.end(),
              [](const auto &a, const auto &b) { return compareKeys(a.key, b.key) < 0; });
    children = children.merged(std::move(changes));
    ASSERT_EQ(children.size(), expected.size());
    auto merged = children.begin();
    for (const auto &[key, value] : expected) {
        ASSERT_EQ(merged->key, key);
        ASSERT_EQ(merged->value->scalar(), value);
        ++merged;
    }

    // Built in one go from sorted entries, the same.
    std::vector<Children::Entry> entries;
    for (const auto &[key, value] : expected)
        entries.push_back({key, Node::leaf(value)});
    const Children built = Children::fromSorted(std::move(entries));
    EXPECT_TRUE(sameValue(Node::object(built), Node::object(children)));
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
            prepareValue(Json::parse(value), 1, 0);
            ADD_FAILURE() << "accepted";
        } catch (const Refusal &refusal) {
            EXPECT_EQ(refusal.status(), expected);
        }
    }
    // The same depth is fine one level up.
    EXPECT_NO_THROW(prepareValue(Json::parse(deep), 0, 0));
}

// Wrappers nest without adding keys: counted all the same, so a value wrapped twenty
// thousand times is refused instead of recursing off the end of the stack.
TEST(RealtimeTree, WrappersCountTowardsTheNesting)
{
    std::string wrapped = "1";
    for (int i = 0; i < 20'000; ++i)
        wrapped = R"({".value": )" + wrapped + "}";
    EXPECT_THROW(prepareValue(Json::parse(wrapped), 0, 0), Refusal);
    EXPECT_EQ(
        toJson(prepareValue(parse(R"({".value": {".value": {"a": {".value": 2}}}})"), 0, 0).value),
        parse(R"({"a": 2})"));
}

TEST(RealtimeTree, ServerValuesResolveAgainstTheStoredValue)
{
    const NodePtr stored = tree(
        parse(R"({"n": 5, "f": 1.5, "s": "text", "big": 9223372036854775807, "huge": 1e308})"));
    const auto increment = [&](const char *key, const char *by) {
        const Json input = Json::parse(std::string(R"({".sv": {"increment": )") + by + "}}");
        return toJson(resolveIncrements(stored, {key}, prepareValue(input, 1, 0)));
    };
    EXPECT_EQ(toJson(prepareValue(parse(R"({".sv": "timestamp"})"), 1, 1234).value), 1234);
    EXPECT_EQ(increment("n", "2"), 7);
    EXPECT_EQ(increment("n", "-7"), -2);
    EXPECT_EQ(increment("n", "0.5"), 5.5);
    EXPECT_EQ(increment("f", "1"), 2.5);
    EXPECT_EQ(increment("s", "3"), 3); // not a number: the delta
    EXPECT_EQ(increment("absent", "3"), 3);
    EXPECT_TRUE(increment("big", "1").is_number_float()); // past the integers: a double
    // Past the doubles there is no number to store: refused, not stored as infinity.
    EXPECT_THROW(increment("huge", "1e308"), Refusal);
    // Nested server values see the stored value at their own location.
    const Json nested = parse(R"({"n": {".sv": {"increment": 1}}, "t": {".sv": "timestamp"}})");
    EXPECT_EQ(toJson(resolveIncrements(stored, {}, prepareValue(nested, 0, 99))),
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
        EXPECT_EQ(toJson(tree(parse(stored)), Form::read), parse(read));
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
