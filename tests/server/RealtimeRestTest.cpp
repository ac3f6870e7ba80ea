// The REST side of the realtime database: each method's answer, query parameters, errors.

#include "RawStream.h"
#include "RealtimeSupport.h"
#include "realtime/RealtimeService.h"

#include <gtest/gtest.h>

using namespace tailwise;
using namespace tailwise::test;
using realtime::Json;
namespace http = net::http;
using http::verb;

namespace {

class RealtimeRest : public ::testing::Test
{
protected:
    RealtimeRest()
        : database_({dir_.path(),
                     64 * 1024 * 1024,
                     std::chrono::minutes(10),
                     {},
                     [] { return std::int64_t{1'700'000'000'000}; }}),
          service_(database_)
    {}

    net::Response call(verb method, std::string target, std::string body = {},
                       const Headers &headers = {})
    {
        net::Request request{method, target, 11};
        for (const auto &[name, value] : headers)
            request.set(name, value);
        request.body() = std::move(body);
        request.prepare_payload();
        auto reply = service_.handle(request);
        return std::get<net::Response>(std::move(reply));
    }
    Json get(const std::string &target) { return Json::parse(call(verb::get, target).body()); }

    TempDir dir_{"tailwise-realtime-rest"};
    realtime::Database database_;
    realtime::RealtimeService service_;
};

struct Exchange
{
    verb method;
    const char *target;
    const char *body;
    unsigned status;
    const char *answer;    // JSON; "" for no body
    const char *rootAfter; // JSON of the whole tree afterwards; nullptr: unchanged
};

TEST_F(RealtimeRest, AnswersAsTheProtocolTableSays)
{
    const char *start = R"({"a": {"b": 1, "c": {"d": 2}}, "n": 5})";
    const std::vector<Exchange> cases = {
        {verb::get, "/.json", "", 200, start, nullptr},
        {verb::get, "/a/b.json", "", 200, "1", nullptr},
        {verb::get, "/missing/x.json", "", 200, "null", nullptr},
        {verb::get, "/a.json?shallow=true", "", 200, R"({"b": true, "c": true})", nullptr},
        {verb::get, "/a.json?orderBy=%22%24key%22&limitToLast=1", "", 200, R"({"c": {"d": 2}})",
         nullptr},
        {verb::put, "/a/c.json", R"([1, 2])", 200, "[1, 2]",
         R"({"a": {"b": 1, "c": [1, 2]}, "n": 5})"},
        {verb::put, "/n.json", R"({".sv": {"increment": 2}})", 200, "7",
         R"({"a": {"b": 1, "c": {"d": 2}}, "n": 7})"},
        {verb::put, "/t.json", R"({".sv": "timestamp"})", 200, "1700000000000",
         R"({"a": {"b": 1, "c": {"d": 2}}, "n": 5, "t": 1700000000000})"},
        {verb::put, "/a.json", "{}", 200, "null", R"({"n": 5})"},
        {verb::put, "/a/c/d.json?print=silent", "3", 204, "",
         R"({"a": {"b": 1, "c": {"d": 3}}, "n": 5})"},
        {verb::patch, "/a.json", R"({"b": null, "c/e": "x", "f": {".sv": {"increment": 1}}})", 200,
         R"({"b": null, "c/e": "x", "f": 1})",
         R"({"a": {"c": {"d": 2, "e": "x"}, "f": 1}, "n": 5})"},
        {verb::patch, "/.json", R"({"a/c/d": null, "a/b": null})", 200,
         R"({"a/c/d": null, "a/b": null})", R"({"n": 5})"},
        {verb::delete_, "/a/c.json", "", 200, "null", R"({"a": {"b": 1}, "n": 5})"},
        {verb::delete_, "/.json", "", 200, "null", "null"},
        // Refusals change nothing.
        {verb::put, "/a.json", R"({"x": {".sv": "bogus"}, "y": 1})", 400,
         R"({"error": "unrecognized server value"})", nullptr},
        {verb::put, "/a.json", "{oops", 400,
         R"({"error": "Invalid data; couldn't parse JSON object, array, or value."})", nullptr},
        {verb::put, "/a.json", "", 400,
         R"({"error": "Invalid data; couldn't parse JSON object, array, or value."})", nullptr},
        {verb::patch, "/a.json", "[1]", 400, nullptr, nullptr},
        {verb::patch, "/.json", R"({"a": 1, "a/b": 2})", 400, nullptr, nullptr},
        {verb::patch, "/.json", R"({"x": 1, "a.b": 2})", 400, nullptr, nullptr},
        {verb::get, "/a.b.json", "", 400, nullptr, nullptr},
        {verb::get, "/a", "", 400, nullptr, nullptr},
        {verb::get, "/.json?limitToFirst=1", "", 400,
         R"({"error": "orderBy must be defined when other query parameters are defined"})",
         nullptr},
        {verb::options, "/.json", "", 405, nullptr, nullptr},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(http::to_string(c.method)) + " " + c.target + " " + c.body);
        call(verb::put, "/.json", start);
        const net::Response response = call(c.method, c.target, c.body);
        EXPECT_EQ(response.result_int(), c.status) << response.body();
        if (c.answer && *c.answer) {
            EXPECT_EQ(Json::parse(response.body()), Json::parse(c.answer));
        } else if (c.answer) {
            EXPECT_EQ(response.body(), "");
        }
        if (c.status >= 400) {
            const Json error = Json::parse(response.body(), nullptr, false);
            EXPECT_TRUE(error.contains("error") && error["error"].is_string()) << response.body();
        }
        EXPECT_EQ(get("/.json"), Json::parse(c.rootAfter ? c.rootAfter : start));
    }
}

TEST_F(RealtimeRest, PostPushesUnderTimeOrderedIds)
{
    std::vector<std::string> names;
    for (int i = 0; i < 20; ++i) {
        const auto response = call(verb::post, "/list.json", std::to_string(i));
        ASSERT_EQ(response.result_int(), 200u);
        names.push_back(Json::parse(response.body()).at("name").get<std::string>());
    }
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
    const Json list = get("/list.json");
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(list.at(names[i]), i);
    EXPECT_EQ(names.front().substr(0, 8), "-NjEtLV-");
}

TEST_F(RealtimeRest, MethodOverrideAndPrettyPrinting)
{
    call(verb::put, "/a.json", R"({"b": 1, "c": 2})");
    EXPECT_EQ(call(verb::post, "/a.json", R"({"b": 5})", {{"X-HTTP-Method-Override", "PATCH"}})
                  .result_int(),
              200u);
    EXPECT_EQ(get("/a.json"), Json::parse(R"({"b": 5, "c": 2})"));
    EXPECT_EQ(
        call(verb::post, "/a/b.json", "", {{"X-HTTP-Method-Override", "delete"}}).result_int(),
        200u);
    EXPECT_EQ(get("/a.json"), Json::parse(R"({"c": 2})"));
    EXPECT_EQ(call(verb::post, "/a.json", "1", {{"X-HTTP-Method-Override", "TRACE"}}).result_int(),
              400u);
    EXPECT_EQ(call(verb::get, "/a.json?print=pretty").body(), "{\n  \"c\": 2\n}");
}

TEST_F(RealtimeRest, ConditionalWritesCompareETags)
{
    call(verb::put, "/a.json", "1");
    const auto read = call(verb::get, "/a.json", "", {{"X-Firebase-ETag", "true"}});
    const std::string etag(read[http::field::etag]);
    ASSERT_FALSE(etag.empty());
    EXPECT_EQ(call(verb::put, "/a.json", "2", {{"if-match", etag}}).result_int(), 200u);
    const auto stale = call(verb::put, "/a.json", "3", {{"if-match", etag}});
    EXPECT_EQ(stale.result_int(), 412u);
    EXPECT_EQ(stale.body(), "2");
    EXPECT_NE(stale[http::field::etag], etag);
    EXPECT_EQ(get("/a.json"), 2);
}

// Over the wire: what only the HTTP layer decides.
TEST(RealtimeRestOverHttp, LimitsAndErrorsKeepTheErrorShape)
{
    RealtimeStack stack({.maxBodyBytes = 1024});
    const auto tooBig = stack.call(verb::put, "/a.json", '"' + std::string(2000, 'x') + '"');
    EXPECT_EQ(tooBig.status, 413u) << tooBig;
    EXPECT_TRUE(tooBig.json.contains("error")) << tooBig;
    const auto written = stack.call(verb::put, "/a/b%20c.json", R"({"k": [true]})");
    EXPECT_EQ(written.status, 200u) << written;
    EXPECT_EQ(written.json, Json::parse(R"({"k": [true]})"));
    EXPECT_EQ(stack.call(verb::get, "/a.json").json, Json::parse(R"({"b c": {"k": [true]}})"));
    EXPECT_EQ(stack.call(verb::get, "/a.json?print=silent").status, 204u);
}

// As the hosted service's command-line tool removes a location: a delete that must stay
// small, and when it is too large, a listing of the keys page by page and deletes in chunks.
TEST(RealtimeRestOverHttp, TheCommandLineToolsDeleteAndListing)
{
    RealtimeStack stack;
    const char *cliQuery = "?print=silent&writeSizeLimit=tiny&disableTriggers=false";
    stack.call(verb::put, "/small.json", R"({"a": 1})");
    EXPECT_EQ(stack.call(verb::patch, std::string("/small.json") + cliQuery, "null").status, 204u);
    EXPECT_EQ(stack.call(verb::get, "/small.json").json, nullptr);

    // 300 children of 8 KB: more than a tiny write, in key order integers first.
    Json big = Json::object();
    std::vector<std::string> keys;
    for (int i = 0; i < 300; ++i)
        keys.push_back(i % 3 ? "u" + std::to_string(1000 + i) : std::to_string(i));
    std::stable_partition(keys.begin(), keys.end(),
                          [](const std::string &key) { return key[0] != 'u'; });
    for (const auto &key : keys)
        big[key] = std::string(8000, 'x');
    ASSERT_EQ(stack.call(verb::put, "/big.json?print=silent", big.dump()).status, 204u);
    const auto refused = stack.call(verb::patch, std::string("/big.json") + cliQuery, "null");
    EXPECT_EQ(refused.status, 400u) << refused;
    EXPECT_EQ(refused.json["error"], "Data to write exceeds the maximum size that can be "
                                     "modified with a single request.");

    std::vector<std::string> listed;
    std::string page = "/big.json?shallow=true&limitToFirst=100";
    for (int pages = 0; pages < 5; ++pages) {
        const auto answer = stack.call(verb::get, page);
        ASSERT_EQ(answer.status, 200u) << answer;
        if (answer.json.empty())
            break;
        std::vector<std::string> chunk;
        Json deletions = Json::object();
        for (const auto &[key, value] : answer.json.items()) {
            EXPECT_EQ(value, true);
            chunk.push_back(key);
            deletions[key] = nullptr;
        }
        std::ranges::sort(
            chunk, [](const auto &a, const auto &b) { return realtime::compareKeys(a, b) < 0; });
        listed.insert(listed.end(), chunk.begin(), chunk.end());
        page = "/big.json?shallow=true&limitToFirst=100&startAfter=%22" + chunk.back() + "%22";
        EXPECT_EQ(
            stack.call(verb::patch, std::string("/big.json") + cliQuery, deletions.dump()).status,
            204u);
    }
    EXPECT_EQ(listed, keys);
    EXPECT_EQ(stack.call(verb::get, "/big.json").json, nullptr);
}

// Exclusive ends and tie-breaking keys on a stream, and parameters the server does not know.
TEST(RealtimeRestOverHttp, RangesOnStreamsAndUnknownParameters)
{
    RealtimeStack stack;
    stack.call(verb::put, "/scores.json", R"({"a": 3, "b": 5, "c": 3, "d": 1})");
    auto stream = listen(
        stack, "/scores.json?orderBy=%22$value%22&startAfter=3,%22a%22&endBefore=5", R"({"c": 3})");
    stack.call(verb::put, "/scores/e.json", "4");
    EXPECT_EQ(stream->next(), put("/", R"({"c": 3, "e": 4})"));
    stack.call(verb::put, "/scores/b.json", "4");
    EXPECT_EQ(stream->next(), put("/", R"({"b": 4, "c": 3, "e": 4})"));
    stack.call(verb::put, "/scores/a.json", "9"); // outside before and after
    stack.call(verb::put, "/scores/d.json", "5");
    EXPECT_EQ(stream->next(200ms), std::nullopt);

    const auto unknown = stack.call(verb::get, "/scores.json?orderBy=%22$key%22&limitToFrist=1");
    EXPECT_EQ(unknown.status, 400u);
    EXPECT_EQ(unknown.json["error"], "unknown query parameter 'limitToFrist'");
    const auto sdkRead = stack.call(
        verb::get, "/scores.json?orderBy=%22$value%22&endAt=4,%22b%22&format=export&ns=x&ac=t");
    EXPECT_EQ(sdkRead.json, Json::parse(R"({"b": 4, "c": 3})")) << sdkRead;
}

} // namespace
