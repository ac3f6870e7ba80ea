// The REST side of the realtime database: each method's answer, query parameters, errors.

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

} // namespace
