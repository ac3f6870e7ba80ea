// What the backend does with requests no app would send, and how it keeps connections:
// every refusal is a 4xx JSON envelope with status "0", and the server carries on serving.

#include "TestServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

using namespace tailwise::test;
namespace net = tailwise::net;
using nlohmann::json;

namespace {

constexpr std::size_t smallBodyLimit = 4096;

TestServerOptions smallLimits()
{
    TestServerOptions options;
    options.limits.maxBodyBytes = smallBodyLimit;
    return options;
}

void expectStillServing(TestServer &server, const std::string &email)
{
    EXPECT_EQ(HttpClient(server.endpoint()).get("/healthz").status, 200);
    EXPECT_NO_THROW(server.registerAccount(email));
}

TEST(MalformedRequests, BadBodiesAreRefusedAndChangeNothing)
{
    TestServer server(smallLimits());
    const std::string register_ = TestServer::api("register");
    const std::string valid = R"({"email":"ann@example.com","password":"secret-1"})";
    const struct
    {
        const char *label;
        std::string body;
        std::string contentType;
        unsigned status;
    } cases[] = {
        {"form encoded as JSON", "email=ann%40example.com&password=secret-1", "application/json",
         400},
        {"truncated JSON", valid.substr(0, valid.size() - 1), "application/json", 400},
        {"JSON array", "[" + valid + "]", "application/json", 400},
        {"JSON string", R"("ann@example.com")", "application/json", 400},
        {"empty body", "", "application/json", 400},
        {"invalid UTF-8", "{\"email\":\"ann\xff@example.com\",\"password\":\"secret-1\"}",
         "application/json", 400},
        // Under a key the endpoint ignores, so only the depth check can refuse it.
        {"nested too deeply",
         R"({"email":"ann@example.com","password":"secret-1","extra":)" + std::string(40, '[') +
             std::string(40, ']') + "}",
         "application/json", 400},
        {"a wall of brackets", std::string(smallBodyLimit - 1, '['), "application/json", 400},
        {"form content type", "email=ann%40example.com&password=secret-1",
         "application/x-www-form-urlencoded", 415},
        // What a web page may post to another site without asking first.
        {"JSON sent as text/plain", valid, "text/plain", 415},
        {"JSON without a Content-Type", valid, "", 415},
        {"multipart field that is not UTF-8",
         "--b\r\nContent-Disposition: form-data; name=\"email\"\r\n\r\nann\xff@example.com\r\n"
         "--b\r\nContent-Disposition: form-data; name=\"password\"\r\n\r\nsecret-1\r\n--b--\r\n",
         "multipart/form-data; boundary=b", 400},
        {"multipart field name that is not UTF-8",
         "--b\r\nContent-Disposition: form-data; name=\"email\"\r\n\r\nann@example.com\r\n"
         "--b\r\nContent-Disposition: form-data; name=\"pass\xc3\"\r\n\r\nx\r\n--b--\r\n",
         "multipart/form-data; boundary=b", 400},
        {"body over the limit",
         R"({"email":"ann@example.com","password":"secret-1","about":")" +
             std::string(smallBodyLimit, 'a') + "\"}",
         "application/json", 413},
    };
    for (const auto &c : cases) {
        const auto reply = server.postBody(register_, c.body, {}, c.contentType);
        EXPECT_TRUE(reply.refused()) << c.label << ": " << reply;
        EXPECT_EQ(reply.status, c.status) << c.label;
    }
    // A refusal quotes what the client sent only as printable ASCII.
    const auto odd = server.postBody(register_, valid, {}, "text/\xc3\xa9vil\"<b>; x=1");
    EXPECT_EQ(odd.status, 415u) << odd;
    EXPECT_TRUE(std::all_of(odd.body.begin(), odd.body.end(), [](char c) {
        return c >= 0x20 && c < 0x7f;
    })) << odd;
    EXPECT_EQ(server.userRows(), 0);
    expectStillServing(server, "ann@example.com");
}

TEST(MalformedRequests, BrokenHttpIsAnsweredBeforeTheConnectionCloses)
{
    TestServer server(smallLimits());
    const std::string head = "POST /app/backend/app/users/register HTTP/1.1\r\nHost: localhost\r\n";
    const struct
    {
        const char *label;
        std::string bytes;
        unsigned status;
    } cases[] = {
        {"not HTTP", "HELLO THERE\r\n\r\n", 400},
        {"bad Content-Length", head + "Content-Length: ten\r\n\r\n", 400},
        {"Content-Length beside chunked",
         head + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400},
        {"declared body over the limit", head + "Content-Length: 999999999\r\n\r\n", 413},
        {"chunked body over the limit",
         head + "Transfer-Encoding: chunked\r\n\r\n1400\r\n" + std::string(0x1400, 'a') +
             "\r\n0\r\n\r\n",
         413},
        {"header over the limit", head + "X-Filler: " + std::string(20'000, 'x') + "\r\n\r\n", 431},
    };
    for (const auto &c : cases) {
        HttpClient client(server.endpoint());
        const auto reply = client.exchange(c.bytes);
        EXPECT_TRUE(reply.refused()) << c.label << ": " << reply;
        EXPECT_EQ(reply.status, c.status) << c.label;
        EXPECT_FALSE(reply.keepAlive) << c.label;
    }
    expectStillServing(server, "ann@example.com");
}

TEST(MalformedRequests, UnknownEndpointsAndUnsafeTargetsAreRefused)
{
    TestServer server;
    const json body = {{"email", "ann@example.com"}, {"password", "secret-1"}};
    const struct
    {
        net::http::verb method;
        std::string target;
        unsigned status;
    } cases[] = {
        {net::http::verb::post, TestServer::api("nope"), 404},
        {net::http::verb::post, TestServer::api("register/extra"), 404},
        {net::http::verb::post, "/", 404},
        // ".." inside a name is no traversal; it simply names no endpoint.
        {net::http::verb::post, TestServer::api("..register"), 404},
        {net::http::verb::get, TestServer::api("register"), 405},
        {net::http::verb::post, TestServer::api("../users/register"), 400},
        {net::http::verb::post, TestServer::api("register/.."), 400},
        {net::http::verb::post, TestServer::api("%2E%2e/users/register"), 400},
        {net::http::verb::post, TestServer::api(".%2e/users/register"), 400},
        {net::http::verb::post, TestServer::api("x\\..\\register"), 400},
        {net::http::verb::post, "http://127.0.0.1" + TestServer::api("register"), 400},
        {net::http::verb::post, "/" + std::string(3000, 'a'), 400},
    };
    for (const auto &c : cases) {
        net::Request request{c.method, c.target, 11};
        request.set(net::http::field::content_type, "application/json");
        request.body() = body.dump();
        const auto reply = HttpClient(server.endpoint()).send(std::move(request));
        EXPECT_TRUE(reply.refused()) << c.target << ": " << reply;
        EXPECT_EQ(reply.status, c.status) << c.target;
    }
    EXPECT_EQ(server.userRows(), 0);
    expectStillServing(server, "ann@example.com");
}

// ---- Connections -------------------------------------------------------------------------

TEST(Connections, KeepAliveCarriesManyRequestsIncludingRefusals)
{
    TestServer server;
    HttpClient client(server.endpoint());
    const auto registered = client.post(TestServer::api("register"),
                                        {{"email", "ann@example.com"}, {"password", "secret-1"}});
    ASSERT_TRUE(registered.succeeded()) << registered;
    const std::string userId = registered.field("user_id");
    const std::string token = registered.field("userToken");

    const HttpReply replies[] = {
        client.post(TestServer::api("login"), {{"email", "ann@example.com"}, {"password", "x"}}),
        client.post(TestServer::api("nope"), json::object()),
        client.postBody(TestServer::api("login"), "not json"),
        client.post(TestServer::api("get_profile"), {{"user_id", userId}}, bearer(token)),
        client.get("/healthz"),
    };
    const unsigned expected[] = {403, 404, 400, 200, 200};
    for (std::size_t i = 0; i < std::size(replies); ++i) {
        EXPECT_EQ(replies[i].status, expected[i]) << replies[i];
        EXPECT_TRUE(replies[i].keepAlive) << replies[i];
    }
    EXPECT_EQ(client.connects(), 1);
}

TEST(Connections, PipelinedRequestsAreAnsweredInOrder)
{
    TestServer server;
    HttpClient client(server.endpoint());
    const std::string body = "{}";
    client.write("GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n"
                 "POST /app/backend/app/users/nope HTTP/1.1\r\nHost: localhost\r\nContent-Length: "
                 "2\r\n\r\n" +
                 body + "GET /healthz HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(client.receive().status, 200);
    EXPECT_EQ(client.receive().status, 404);
    const auto last = client.receive();
    EXPECT_EQ(last.status, 200) << last;
    EXPECT_FALSE(last.keepAlive);
    EXPECT_EQ(client.connects(), 1);
}

TEST(Connections, ExpectContinueGetsTheGoAheadOnlyForAnAcceptableBody)
{
    TestServer server(smallLimits());
    const std::string body = R"({"email":"ann@example.com","password":"secret-1"})";
    const std::string head = "POST /app/backend/app/users/register HTTP/1.1\r\nHost: localhost\r\n"
                             "Content-Type: application/json\r\nExpect: 100-continue\r\n";

    HttpClient client(server.endpoint());
    const auto proceed =
        client.exchange(head + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n");
    EXPECT_EQ(proceed.status, 100) << proceed;
    const auto registered = client.exchange(body);
    EXPECT_TRUE(registered.succeeded()) << registered;

    // Too large: refused at once, without asking for the body.
    const auto tooLarge =
        HttpClient(server.endpoint())
            .exchange(head + "Content-Length: " + std::to_string(smallBodyLimit + 1) + "\r\n\r\n");
    EXPECT_EQ(tooLarge.status, 413) << tooLarge;
}

TEST(Connections, RequestCapClosesTheConnectionAfterTheLastAnswer)
{
    TestServerOptions options;
    options.limits.maxRequestsPerConnection = 3;
    TestServer server(options);
    HttpClient client(server.endpoint());
    for (int i = 1; i <= 4; ++i) {
        const auto reply = client.get("/healthz");
        EXPECT_EQ(reply.status, 200) << i;
        EXPECT_EQ(reply.keepAlive, i != 3) << i;
    }
    EXPECT_EQ(client.connects(), 2);
}

TEST(Connections, SlowOrSilentClientsAreDisconnected)
{
    TestServerOptions options;
    options.limits.headerTimeout = 300ms;
    options.limits.readTimeout = 300ms;
    TestServer server(options);
    const char *starts[] = {
        "",
        "POST /app/backend/app/users/log",
        ("POST /app/backend/app/users/login HTTP/1.1\r\nHost: localhost\r\nContent-Length: "
         "40\r\n\r\n{\"em"),
    };
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (const char *start : starts) {
        clients.push_back(std::make_unique<HttpClient>(server.endpoint()));
        clients.back()->write(start);
    }
    for (std::size_t i = 0; i < clients.size(); ++i)
        EXPECT_TRUE(clients[i]->closedByServer(3s)) << '"' << starts[i] << '"';
    expectStillServing(server, "ann@example.com");
}

} // namespace
