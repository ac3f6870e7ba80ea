// Clients that mean harm: bytes that would crash a recursive parser, names that are not ours,
// connections that idle or trickle, bodies and streams that would eat the memory. The server
// refuses each, keeps its memory within its budgets and goes on serving everyone else.

#include "FailingAllocations.h"
#include "RawStream.h"
#include "http/HostCheck.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <thread>

using namespace tailwise;
using namespace tailwise::test;
using net::http::verb;
using Clock = std::chrono::steady_clock;

namespace {

std::string nested(std::string_view open, std::string_view inner, std::string_view close, int times)
{
    std::string text;
    text.reserve((open.size() + close.size()) * static_cast<std::size_t>(times) + inner.size());
    for (int i = 0; i < times; ++i)
        text += open;
    text += inner;
    for (int i = 0; i < times; ++i)
        text += close;
    return text;
}

TEST(HostileRequests, DeepNestingIsRefusedAndTheServerStaysUp)
{
    RealtimeStack stack;
    const std::string wrapped = nested(R"({".value":)", "1", "}", 20'000);
    for (const verb method : {verb::put, verb::post, verb::patch}) {
        const std::string body = method == verb::patch ? R"({"a":)" + wrapped + "}" : wrapped;
        EXPECT_EQ(stack.call(method, "/x.json", body).status, 400u) << method;
    }
    std::string connection;
    const auto stream = listen(stack, "/x.json", "null", 0, &connection);
    const std::string brackets = nested("[", "", "]", 300'000);
    EXPECT_EQ(onDisconnect(stack, connection, Json::parse(R"({"path": "/x", "op": "set"})")).status,
              400u); // no data
    const auto deep = stack.call(verb::post, "/.ondisconnect?conn=" + connection,
                                 R"({"path":"/x","op":"set","data":)" + brackets + "}");
    EXPECT_EQ(deep.status, 400u) << deep;
    EXPECT_EQ(stack.call(verb::put, "/x.json", "1").status, 200u);
    EXPECT_EQ(stream->next(), put("/", "1"));
}

// A number past the doubles would be stored as infinity, read as null and journalled as
// something else again.
TEST(HostileRequests, AnIncrementPastTheLargestNumberIsRefused)
{
    RealtimeStack stack;
    ASSERT_EQ(stack.call(verb::put, "/n.json", "1e308").status, 200u);
    EXPECT_EQ(stack.call(verb::put, "/n.json", R"({".sv": {"increment": 1e308}})").status, 400u);
    EXPECT_EQ(
        stack.call(verb::patch, "/.json", R"({"n": {".sv": {"increment": 1e308}}, "m": 1})").status,
        400u);
    stack.stop();
    stack.start();
    EXPECT_EQ(Json::parse(stack.call(verb::get, "/.json").body), Json::parse(R"({"n": 1e308})"));
}

// ---- Host names ---------------------------------------------------------------------------

TEST(HostNames, OnlyNamesTheServerServesAreAnswered)
{
    const net::HostCheck check("127.0.0.1", {"tailwise.example"});
    for (const char *host : {"localhost", "LOCALHOST.", "localhost:8080", "127.0.0.1:9000",
                             "127.8.9.10", "[::1]:80", "app.localhost", "tailwise.example:443"})
        EXPECT_TRUE(check.allows(host, 11)) << host;
    for (const char *host : {"evil.example", "evil.example:8080", "localhost.evil.example",
                             "127.0.0.1.nip.io", "[::1", "0.0.0.0", ""})
        EXPECT_FALSE(check.allows(host, 11)) << host;
    EXPECT_TRUE(check.allows("", 10)); // HTTP/1.0 has no Host header to check
    EXPECT_TRUE(net::HostCheck("10.0.0.5", {}).allows("10.0.0.5:8080", 11));
    EXPECT_FALSE(net::HostCheck("0.0.0.0", {}).allows("0.0.0.0", 11));

    // Both services, end to end: a rebound name gets 421 and nothing else.
    RealtimeStack stack;
    TestServer backend;
    const auto ask = [](net::tcp::endpoint at, const std::string &request) {
        return HttpClient(at).exchange(request);
    };
    const auto rebound = ask(stack.endpoint(), "GET /.json HTTP/1.1\r\nHost: evil.example\r\n\r\n");
    EXPECT_EQ(rebound.status, 421u) << rebound;
    EXPECT_EQ(ask(stack.endpoint(), "GET /.json HTTP/1.1\r\nHost: localhost:1\r\n\r\n").status,
              200u);
    const auto login = ask(backend.endpoint(),
                           "POST /app/backend/app/users/login HTTP/1.1\r\nHost: evil.example\r\n"
                           "Content-Type: application/json\r\nContent-Length: 2\r\n\r\n{}");
    EXPECT_EQ(login.status, 421u) << login;
    EXPECT_EQ(login.field("status"), "0");
}

// ---- Connections --------------------------------------------------------------------------

// A connection that sends part of a request and then nothing.
std::unique_ptr<RawStream> stalled(net::tcp::endpoint at, const char *from = nullptr)
{
    return std::make_unique<RawStream>(RawStream::Bytes{"POST /app/backend/app/us"}, at, 0, from);
}

TEST(ConnectionLimits, ConnectionsThatOnlyWaitGiveWayToNewOnes)
{
    TestServerOptions options;
    options.limits.maxConnections = 16;
    TestServer server(options);
    // One after another, so that which waited longest is clear.
    std::vector<std::unique_ptr<RawStream>> idle;
    for (int i = 0; i < 16; ++i) {
        idle.push_back(stalled(server.endpoint()));
        std::this_thread::sleep_for(20ms);
    }
    std::vector<std::unique_ptr<HttpClient>> checks;
    for (int i = 0; i < 5; ++i) {
        checks.push_back(std::make_unique<HttpClient>(server.endpoint()));
        EXPECT_EQ(checks.back()->get("/healthz").status, 200u) << i;
    }
    // The ones that waited longest went first.
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(idle[static_cast<std::size_t>(i)]->endedByServer(2s)) << i;
    EXPECT_FALSE(idle.back()->endedByServer(100ms));
}

TEST(ConnectionLimits, TheAddressHoldingMostGivesWayFirst)
{
    TestServerOptions options;
    options.limits.maxConnections = 12;
    options.limits.maxConnectionsPerAddress = 8;
    TestServer server(options);
    std::vector<std::unique_ptr<RawStream>> greedy, modest;
    for (int i = 0; i < 8; ++i) {
        greedy.push_back(stalled(server.endpoint(), "127.0.0.2"));
        std::this_thread::sleep_for(20ms);
    }
    for (int i = 0; i < 4; ++i)
        modest.push_back(stalled(server.endpoint(), "127.0.0.3"));
    std::this_thread::sleep_for(100ms);
    // Past its own limit an address only displaces itself.
    greedy.push_back(stalled(server.endpoint(), "127.0.0.2"));
    EXPECT_TRUE(greedy.front()->endedByServer(2s));
    // The server is full: a newcomer takes the place of the fullest address's oldest.
    auto newcomer = std::make_unique<RawStream>(server.endpoint(), "/healthz", 0, "127.0.0.4");
    EXPECT_TRUE(newcomer->head().starts_with("HTTP/1.1 200"));
    EXPECT_TRUE(greedy[1]->endedByServer(2s));
    for (auto &connection : modest)
        EXPECT_FALSE(connection->endedByServer(50ms));
}

TEST(ConnectionLimits, StreamsPerAddressAreCapped)
{
    RealtimeStack stack(
        {.configure = [](StackConfig &config) { config.databaseLimits.maxStreamsPerAddress = 2; }});
    auto first = listen(stack, "/a.json", "null");
    auto second = listen(stack, "/b.json", "null");
    RawStream third(stack.endpoint(), "/c.json");
    EXPECT_TRUE(third.head().starts_with("HTTP/1.1 429"));
    // Other addresses, and this one once a stream ends, are served.
    RawStream elsewhere(stack.endpoint(), "/c.json", 0, "127.0.0.2");
    EXPECT_TRUE(elsewhere.head().starts_with("HTTP/1.1 200"));
    first.reset();
    std::this_thread::sleep_for(100ms);
    EXPECT_TRUE(listen(stack, "/c.json", "null"));
}

TEST(ConnectionLimits, BodiesWaitForTheirShareOfTheBudget)
{
    TestServerOptions options;
    options.limits.maxBodyBytes = 800;
    options.limits.maxBufferedBodyBytes = 1000;
    TestServer server(options);
    const std::string head = "POST /app/backend/app/users/login HTTP/1.1\r\nHost: localhost\r\n"
                             "Content-Type: application/json\r\nContent-Length: ";
    HttpClient holder(server.endpoint());
    holder.write(head + "700\r\n\r\n{");
    std::this_thread::sleep_for(100ms);
    const auto busy = HttpClient(server.endpoint()).exchange(head + "400\r\n\r\n");
    EXPECT_EQ(busy.status, 503u) << busy;
    EXPECT_EQ(busy.headers[net::http::field::retry_after], "1");
    holder.close();
    std::this_thread::sleep_for(100ms);
    const std::string body = R"({"email":"a@b.example","password":"x"})";
    const auto served = HttpClient(server.endpoint())
                            .exchange(head + std::to_string(body.size()) + "\r\n\r\n" + body);
    EXPECT_EQ(served.status, 404u) << served; // no such account, but heard
}

// ---- Memory of streams ----------------------------------------------------------------------

TEST(StreamMemory, WhenStreamsTogetherHoldTooMuchTheOneHoldingMostIsCancelled)
{
    constexpr std::size_t budget = 8 * 1024 * 1024;
    RealtimeStack stack({.maxQueuedBytes = 64 * 1024 * 1024, .configure = [](StackConfig &config) {
                             config.database.listeners.maxTotalQueuedBytes = budget;
                         }});
    // Three clients that read nothing, one that keeps up.
    std::vector<std::unique_ptr<RawStream>> stuck;
    for (int i = 0; i < 3; ++i)
        stuck.push_back(listen(stack, "/big.json", "null", 4096));
    auto reader = listen(stack, "/big.json", "null");
    const std::string megabyte(1024 * 1024, 'm');
    std::size_t highest = 0;
    for (int i = 0; i < 24; ++i) {
        ASSERT_EQ(stack
                      .call(verb::put, "/big/" + std::to_string(i) + ".json?print=silent",
                            Json(megabyte).dump())
                      .status,
                  204u);
        const auto event = reader->next(10s);
        ASSERT_TRUE(event) << i;
        EXPECT_EQ(event->data["path"], "/" + std::to_string(i));
        highest = std::max(highest, stack.database().queuedStreamBytes());
    }
    EXPECT_LE(highest, budget + 2 * (megabyte.size() + 64));
    for (auto &stream : stuck)
        EXPECT_TRUE(stream->endedByServer(10s));
    EXPECT_EQ(stack.call(verb::put, "/small.json", "1").status, 200u);
}

TEST(StreamMemory, AnAllocationFailureEndsOnlyTheStreamItHit)
{
    RealtimeStack stack;
    auto hit = listen(stack, "/a.json", "null");
    auto spared = listen(stack, "/b.json", "null");
    failAllocationsOnThread("rtdb-publisher");
    const auto written = stack.call(verb::put, "/a.json", Json(std::string(4096, 'x')).dump());
    std::this_thread::sleep_for(200ms);
    failAllocationsOnThread(nullptr);
    EXPECT_EQ(written.status, 200u);
    const auto cancelled = hit->next();
    ASSERT_TRUE(cancelled);
    EXPECT_EQ(cancelled->name, "cancel");
    EXPECT_EQ(stack.call(verb::put, "/b.json", "2").status, 200u);
    EXPECT_EQ(spared->next(), put("/", "2"));
}

TEST(DatabaseQuota, WritesPastTheQuotaAreRefusedAndDeletingStillWorks)
{
    RealtimeStack stack(
        {.configure = [](StackConfig &config) { config.database.maxStoredBytes = 10'000; }});
    const std::string text = Json(std::string(5'000, 't')).dump();
    ASSERT_EQ(stack.call(verb::put, "/a.json", text).status, 200u);
    const auto full = stack.call(verb::put, "/b.json", Json(std::string(6'000, 't')).dump());
    EXPECT_EQ(full.status, 413u) << full;
    EXPECT_EQ(stack.call(verb::get, "/b.json").body, "null");
    EXPECT_EQ(stack.call(verb::put, "/a.json", R"("short")").status, 200u); // shrinking is fine
    EXPECT_EQ(stack.call(verb::put, "/b.json", Json(std::string(6'000, 't')).dump()).status, 200u);
}

// ---- Stopping -------------------------------------------------------------------------------

// A stop answers work still queued instead of doing it: a queue of slow requests (password
// hashes, say) must not keep a stopping server alive.
TEST(Stopping, QueuedWorkIsAnsweredNotDone)
{
    net::asio::io_context io;
    net::asio::thread_pool workers(1);
    net::AccessLog log(nullptr);
    std::atomic<int> handled{0};
    net::HttpServer server(
        io, workers, "slow",
        [&](const net::Request &request) {
            std::this_thread::sleep_for(100ms);
            ++handled;
            return net::Response{net::http::status::ok, request.version()};
        },
        [](const net::Request &request, net::http::status status, const std::string &) {
            return net::Response{status, request.version()};
        },
        log);
    const auto endpoint = server.listen("127.0.0.1", 0);
    server.start();
    std::thread network([&] { io.run(); });
    // Sixty requests of a tenth of a second each on one worker: six seconds of work.
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (int i = 0; i < 60; ++i) {
        clients.push_back(std::make_unique<HttpClient>(endpoint, 10s));
        clients.back()->write("GET /slow HTTP/1.1\r\nHost: localhost\r\n\r\n");
    }
    std::this_thread::sleep_for(300ms);
    const auto stopping = Clock::now();
    server.stop();
    int answered = 0;
    for (auto &client : clients) {
        const auto reply = client->receive();
        answered += reply.status == 200 || reply.status == 503;
    }
    workers.join();
    const auto took = Clock::now() - stopping;
    io.stop();
    network.join();
    EXPECT_EQ(answered, 60);
    EXPECT_LT(handled.load(), 20);
    EXPECT_LT(took, 3s) << std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
}

} // namespace
