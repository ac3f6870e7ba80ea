// Child order and the query parameters of reads.

#include "realtime/Query.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>

using namespace tailwise::realtime;

namespace {

TEST(RealtimeOrder, KeysIntegersFirstThenStrings)
{
    // Each key sorts strictly before the next.
    const std::vector<std::string> ordered = {
        "-2147483648", "-10",        "-1", "0",  "00",         "7",
        "07",          "007",        "9",  "10", "2147483647", "-2147483649",
        "12345678901", "2147483648", "a",  "a0", "b",          "z",
    };
    for (std::size_t i = 0; i < ordered.size(); ++i) {
        for (std::size_t j = 0; j < ordered.size(); ++j) {
            const int expected = i < j ? -1 : i > j ? 1 : 0;
            EXPECT_EQ(compareKeys(ordered[i], ordered[j]), expected)
                << ordered[i] << " vs " << ordered[j];
        }
    }
}

TEST(RealtimeOrder, ValuesByTypeThenWithinType)
{
    // Numbers by exact value whatever their kind: past 2^53 doubles skip integers, and
    // integers that are not negative arrive unsigned.
    const std::vector<Json> ordered = {
        nullptr,
        false,
        true,
        -1e300,
        std::numeric_limits<std::int64_t>::min(),
        Json::parse("-9007199254740993"),
        -9007199254740992.0,
        -5,
        -0.5,
        Json::parse("0"),
        0.5,
        3,
        Json::parse("9007199254740992"),
        Json::parse("9007199254740993"),
        std::numeric_limits<std::int64_t>::max(),
        9223372036854775808.0,
        std::numeric_limits<std::uint64_t>::max(),
        18446744073709551616.0,
        "",
        "10",
        "9",
        "a",
        "b",
    };
    for (std::size_t i = 0; i < ordered.size(); ++i)
        for (std::size_t j = 0; j < ordered.size(); ++j)
            EXPECT_EQ(compareValues(&ordered[i], &ordered[j]), i < j   ? -1
                                                               : i > j ? 1
                                                                       : 0)
                << ordered[i] << " vs " << ordered[j];
    const std::vector<std::pair<Json, Json>> equal = {
        {Json::parse("9007199254740992"), 9007199254740992.0},
        {std::int64_t{7}, std::uint64_t{7}},
        {-5, -5.0},
        {Json::parse("0"), -0.0},
        {Json::object({{"k", 1}}), Json::object({{"j", 2}})}, // ties go to the key
    };
    for (const auto &[a, b] : equal) {
        EXPECT_EQ(compareValues(&a, &b), 0) << a << " vs " << b;
        EXPECT_EQ(compareValues(&b, &a), 0) << b << " vs " << a;
    }
    EXPECT_EQ(compareValues(nullptr, &ordered[0]), 0); // missing is null
    EXPECT_EQ(compareValues(&ordered.back(), &equal.back().first), -1);
}

// Dinosaurs, as the hosted service's documentation likes them.
const Json dinosaurs = Json::parse(R"({
    "lambeosaurus": {"height": 2.1, "length": 12.5, "weight": 5000, "order": "o"},
    "stegosaurus":  {"height": 4,   "length": 9,    "weight": 2500, "order": "o"},
    "bruhathkayosaurus": {"height": 25, "length": 44, "weight": 135000},
    "linhenykus":   {"height": 0.6, "length": 1,    "weight": 0.45, "order": "o"},
    "pterodactyl":  {"height": null, "length": "?", "weight": true},
    "10": {"height": 1},
    "9": {"height": 1}
})");

const Json scores = Json::parse(R"({"a": 3, "b": "x", "c": false, "d": 3, "e": {"n": 1},
                                    "f": true, "g": -1})");

Json run(const Json &data, const Query &query)
{
    return toJson(applyQuery(prepareValue(data, 0, 0).value, query), Form::stored);
}

Query parsed(const std::string &parameters)
{
    return parseRequestOptions(queryParameters("/x.json?" + parameters)).query;
}

struct QueryCase
{
    const char *query;
    const Json *data;
    std::vector<std::string> keys; // in order
};

std::set<std::string> keysOf(const Json &result)
{
    std::set<std::string> keys;
    for (const auto &[key, value] : result.items())
        keys.insert(key);
    return keys;
}

TEST(RealtimeQuery, OrderFilterAndLimit)
{
    const std::vector<QueryCase> cases = {
        {"orderBy=\"$key\"&limitToFirst=3", &dinosaurs, {"9", "10", "bruhathkayosaurus"}},
        {"orderBy=\"$key\"&startAt=\"l\"&endAt=\"m\"", &dinosaurs, {"lambeosaurus", "linhenykus"}},
        {"orderBy=\"$key\"&equalTo=\"10\"", &dinosaurs, {"10"}},
        {"orderBy=\"height\"&limitToFirst=2", &dinosaurs, {"pterodactyl", "linhenykus"}},
        {"orderBy=\"height\"&limitToLast=2", &dinosaurs, {"stegosaurus", "bruhathkayosaurus"}},
        {"orderBy=\"height\"&equalTo=1", &dinosaurs, {"9", "10"}}, // tie broken by key
        {"orderBy=\"height\"&startAt=3", &dinosaurs, {"stegosaurus", "bruhathkayosaurus"}},
        {"orderBy=\"height\"&endAt=1", &dinosaurs, {"pterodactyl", "linhenykus", "9", "10"}},
        {"orderBy=\"order\"&equalTo=null",
         &dinosaurs,
         {"9", "10", "bruhathkayosaurus", "pterodactyl"}},
        {"orderBy=\"weight\"&startAt=true&endAt=true", &dinosaurs, {"pterodactyl"}},
        {"orderBy=\"length\"&startAt=\"?\"", &dinosaurs, {"pterodactyl"}},
        {"orderBy=\"$value\"", &scores, {"c", "f", "g", "a", "d", "b", "e"}},
        {"orderBy=\"$value\"&startAt=3&endAt=\"x\"", &scores, {"a", "d", "b"}},
        {"orderBy=\"$value\"&limitToLast=1", &scores, {"e"}},
        {"orderBy=\"$value\"&startAt=\"y\"", &scores, {"e"}}, // objects after every string
        {"orderBy=\"n\"&equalTo=1", &scores, {"e"}},
        // Exclusive ends, and the key that breaks ties among equal values (in key order, so
        // "9" before "10"); the SDKs' names for the ends of the key order.
        {"orderBy=\"height\"&startAfter=1",
         &dinosaurs,
         {"lambeosaurus", "stegosaurus", "bruhathkayosaurus"}},
        {"orderBy=\"height\"&endBefore=1", &dinosaurs, {"pterodactyl", "linhenykus"}},
        {"orderBy=\"height\"&startAt=1,\"10\"&endAt=2.1", &dinosaurs, {"10", "lambeosaurus"}},
        {"orderBy=\"$value\"&startAfter=3,\"a\"&endBefore=\"x\"", &scores, {"d"}},
        {"orderBy=\"$value\"&endAt=3,\"a\"", &scores, {"c", "f", "g", "a"}},
        {"orderBy=\"$value\"&endBefore=3,\"d\"&startAfter=true", &scores, {"g", "a"}},
        {"orderBy=\"$value\"&equalTo=3,\"d\"", &scores, {"d"}},
        {"orderBy=\"$value\"&startAfter=3,\"[MAX_NAME]\"", &scores, {"b", "e"}},
        {"orderBy=\"$value\"&endAt=3,\"[MIN_NAME]\"", &scores, {"c", "f", "g"}},
        {"orderBy=\"$value\"&startAt=\"a,b\"", &scores, {"b", "e"}}, // a comma in the value
        {"orderBy=\"$key\"&startAfter=\"b\"&endBefore=\"e\"", &scores, {"c", "d"}},
        {"orderBy=\"$key\"&startAfter=\"9\"&limitToFirst=1", &dinosaurs, {"10"}},
        {"orderBy=\"height/x\"",
         &dinosaurs,
         {"9", "10", "bruhathkayosaurus", "lambeosaurus", "linhenykus", "pterodactyl",
          "stegosaurus"}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.query);
        const Query query = parsed(c.query);
        const Json result = run(*c.data, query);
        ASSERT_TRUE(result.is_object()) << result;
        EXPECT_EQ(keysOf(result), std::set<std::string>(c.keys.begin(), c.keys.end()));
        const Json stored = toJson(prepareValue(*c.data, 0, 0).value, Form::stored);
        for (const auto &key : c.keys)
            EXPECT_EQ(result[key], stored[key]);
        // The answer is an object, so the order shows in what growing limits keep.
        if (query.limitToFirst || query.limitToLast)
            continue;
        for (std::size_t n = 1; n <= c.keys.size(); ++n) {
            Query first = query;
            first.limitToFirst = n;
            EXPECT_EQ(keysOf(run(*c.data, first)),
                      std::set<std::string>(c.keys.begin(), c.keys.begin() + n))
                << "limitToFirst=" << n;
        }
    }
}

TEST(RealtimeQuery, ShallowListsAndPagesThroughKeys)
{
    const auto keys = [](const std::string &parameters, const Json &data) {
        const Json result = run(data, parsed(parameters));
        std::vector<std::string> listed;
        for (const auto &[key, value] : result.items()) {
            EXPECT_EQ(value, true) << key;
            listed.push_back(key);
        }
        return listed;
    };
    using Keys = std::vector<std::string>;
    EXPECT_EQ(keys("shallow=true", scores), (Keys{"a", "b", "c", "d", "e", "f", "g"}));
    // nlohmann lists object keys as strings sort; the pages are in key order ("9" first).
    EXPECT_EQ(keys("shallow=true&limitToFirst=2", dinosaurs), (Keys{"10", "9"}));
    EXPECT_EQ(keys("shallow=true&startAfter=\"10\"&limitToFirst=2", dinosaurs),
              (Keys{"bruhathkayosaurus", "lambeosaurus"}));
    EXPECT_EQ(keys("shallow=true&limitToLast=1", dinosaurs), (Keys{"stegosaurus"}));
    EXPECT_EQ(keys("shallow=true&orderBy=\"$key\"&startAt=\"l\"&endAt=\"m\"", dinosaurs),
              (Keys{"lambeosaurus", "linhenykus"}));
    // Listing clients send the last key of a page as it is, not as JSON.
    EXPECT_EQ(keys("shallow=true&startAfter=linhenykus", dinosaurs),
              (Keys{"pterodactyl", "stegosaurus"}));
    EXPECT_EQ(keys("shallow=true&startAfter=9&limitToFirst=1", dinosaurs), (Keys{"10"}));
    EXPECT_EQ(run(scores, parsed("shallow=true&startAfter=\"g\"")), nullptr);

    EXPECT_EQ(run(Json(5), parsed("shallow=true")), 5);
    EXPECT_EQ(run(Json(5), parsed("shallow=true&limitToFirst=1")), 5);
    EXPECT_EQ(run(Json(), parsed("shallow=true")), nullptr);
    EXPECT_EQ(run(Json(5), parsed("orderBy=\"$key\"")), nullptr);
}

TEST(RealtimeQuery, RequestOptions)
{
    const auto options = [](const std::string &parameters) {
        return parseRequestOptions(queryParameters("/x.json?" + parameters));
    };
    EXPECT_EQ(options("print=silent").print, Print::silent);
    EXPECT_EQ(options("print=pretty&auth=t&access_token=t&ns=db&ac=x&format=export").print,
              Print::pretty);
    EXPECT_EQ(options("timeout=250ms").timeout, std::chrono::milliseconds(250));
    EXPECT_EQ(options("timeout=15min").timeout, std::chrono::minutes(15));
    EXPECT_EQ(options("writeSizeLimit=tiny").writeSizeLimit, 1024u * 1024u);
    EXPECT_EQ(options("writeSizeLimit=large").writeSizeLimit, 60u * 1024u * 1024u);
    EXPECT_EQ(options("writeSizeLimit=unlimited&disableTriggers=true").writeSizeLimit,
              std::nullopt);
}

TEST(RealtimeQuery, BadParametersAreRefused)
{
    const std::vector<const char *> refused = {
        "limitToFirst=2",                             // no orderBy
        "startAt=1",                                  //
        "endBefore=1",                                //
        "orderBy=height",                             // not JSON
        "orderBy=\"\"",                               //
        "orderBy=\"a.b\"",                            // not a path
        "orderBy=\"$key\"&startAt=1",                 // $key bounds are strings
        "orderBy=\"$key\"&startAt=\"a\",\"b\"",       // and take no key
        "orderBy=\"a\"&limitToFirst=0",               //
        "orderBy=\"a\"&limitToFirst=-1",              //
        "orderBy=\"a\"&limitToFirst=2x",              //
        "orderBy=\"a\"&limitToFirst=1&limitToLast=1", //
        "orderBy=\"a\"&equalTo=1&startAt=0",          //
        "orderBy=\"a\"&equalTo=1&endBefore=2",        //
        "orderBy=\"a\"&startAt=0&startAfter=0",       //
        "orderBy=\"a\"&endAt=0&endBefore=0",          //
        "orderBy=\"a\"&startAt={\"x\":1}",            // not a primitive
        "orderBy=\"a\"&startAt=nope",                 //
        "orderBy=\"a\"&startAt=1,2",                  // the key is a JSON string
        "orderBy=\"a\"&startAt=1,",                   //
        "orderBy=\"a\"&startAt=\"x\"\"k\"",           //
        "orderBy=\"a\"&startAt=\"unterminated",       //
        "orderBy=\"$value\"&shallow=true",            // shallow lists in key order
        "shallow=yes",                                //
        "print=loud",                                 //
        "format=csv",                                 //
        "timeout=0ms",                                //
        "timeout=16min",                              //
        "timeout=5h",                                 //
        "timeout=99999999999ms",                      //
        "writeSizeLimit=huge",                        //
        "disableTriggers=maybe",                      //
        "callback=f",                                 // JSONP
        "download=x.json",                            //
        "orderby=\"a\"",                              // unknown: names are case-sensitive
        "limit=3",                                    //
        "orderBy=%22a%2",                             // broken escape
    };
    for (const char *query : refused) {
        SCOPED_TRACE(query);
        try {
            parsed(query);
            ADD_FAILURE() << "accepted";
        } catch (const Refusal &refusal) {
            EXPECT_EQ(refusal.status(), tailwise::net::http::status::bad_request);
            EXPECT_FALSE(std::string(refusal.what()).empty());
        }
    }
}

} // namespace
