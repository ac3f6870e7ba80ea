#include "bench/loadgen/LoadGenerator.h"

#include "server/http/asio.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>

using namespace tailwise::loadgen;
using namespace std::chrono_literals;

namespace {

Options parse(std::vector<std::string> args)
{
    return parseOptions(args);
}

// ---- Which targets we accept ---------------------------------------------------------------

TEST(LoadgenUrl, AcceptsLoopbackTargetsOnly)
{
    struct Case
    {
        std::string url;
        std::string host;
        std::uint16_t port;
        std::string target;
    };
    const Case accepted[] = {
        {"http://127.0.0.1:8080/app/x", "127.0.0.1", 8080, "/app/x"},
        {"HTTP://LocalHost:9000", "LocalHost", 9000, "/"},
        {"http://[::1]:8080/healthz?x=1#frag", "::1", 8080, "/healthz?x=1"},
        {"http://127.0.0.1?q", "127.0.0.1", 80, "/?q"},
    };
    for (const auto &c : accepted) {
        SCOPED_TRACE(c.url);
        const auto url = parseUrl(c.url);
        EXPECT_EQ(url.host, c.host);
        EXPECT_EQ(url.port, c.port);
        EXPECT_EQ(url.target, c.target);
    }

    const char *refused[] = {
        "http://10.0.0.1/",   "http://example.com/",       "http://localhost.example.com/",
        "http://127.1/",      "http://[::ffff:10.0.0.1]/", "http://127.0.0.1@example.com/",
        "https://127.0.0.1/", "http://127.0.0.1:65536/",   "http://127.0.0.1/a\r\nX: y",
    };
    for (const char *url : refused)
        EXPECT_THROW(parseUrl(url), UsageError) << url;
}

// ---- Option bounds and combinations ----------------------------------------------------------

TEST(LoadgenOptions, RequestBoundRunsStillEnd)
{
    // A run bounded by its request count must not be cut off at the default five seconds, but
    // still ends.
    const auto counted = parse({"--url", "http://127.0.0.1:1/", "--requests", "10"});
    EXPECT_EQ(counted.duration, 60s);
    const auto both = parse({"--url", "http://127.0.0.1:1/", "--requests", "10", "--duration",
                             "0.25", "--warmup", "0"});
    EXPECT_EQ(both.duration, 250ms);
    EXPECT_EQ(both.warmup, 0ms);
}

// ---- What goes on the wire -------------------------------------------------------------------

TEST(LoadgenRequest, SerialisesHostBodyAndHeaders)
{
    auto options = parse({"--url", "http://127.0.0.1:8080/app/backend/app/users/login", "--method",
                          "post", "--body", R"({"a":1})", "--content-type", "application/json",
                          "--header", "Authorization:  Bearer t0k "});
    const auto wire = serializeRequest(options);
    EXPECT_TRUE(wire.starts_with("POST /app/backend/app/users/login HTTP/1.1\r\n")) << wire;
    EXPECT_NE(wire.find("Host: 127.0.0.1:8080\r\n"), std::string::npos) << wire;
    EXPECT_NE(wire.find("Content-Type: application/json\r\n"), std::string::npos) << wire;
    EXPECT_NE(wire.find("Content-Length: 7\r\n"), std::string::npos) << wire;
    EXPECT_NE(wire.find("Authorization: Bearer t0k\r\n"), std::string::npos) << wire;
    EXPECT_TRUE(wire.ends_with("\r\n\r\n{\"a\":1}")) << wire;

    options = parse({"--url", "http://[::1]/", "--header", "Host: example.test"});
    const auto own = serializeRequest(options);
    EXPECT_NE(own.find("Host: example.test\r\n"), std::string::npos) << own;
    EXPECT_EQ(own.find("Host: [::1]"), std::string::npos) << own;
    EXPECT_EQ(own.find("Content-Length"), std::string::npos) << own;

    options = parse({"--url", "http://[::1]:81/"});
    EXPECT_NE(serializeRequest(options).find("Host: [::1]:81\r\n"), std::string::npos);
}

// ---- Percentiles -----------------------------------------------------------------------------

TEST(LoadgenHistogram, PercentilesStayWithinOnePercent)
{
    LatencyHistogram empty;
    EXPECT_EQ(empty.percentileMicros(50), 0u);
    EXPECT_EQ(empty.maxMicros(), 0u);

    // 1..100000 us uniformly: the k-th percentile is k * 1000 us.
    LatencyHistogram low, high;
    for (std::int64_t us = 1; us <= 100'000; ++us)
        (us <= 50'000 ? low : high).record(std::chrono::microseconds(us));
    LatencyHistogram all;
    all.merge(low);
    all.merge(high);
    EXPECT_EQ(all.count(), 100'000u);
    EXPECT_EQ(all.maxMicros(), 100'000u);
    for (const double p : {1.0, 10.0, 50.0, 90.0, 99.0, 99.9}) {
        const double expected = p * 1000;
        EXPECT_NEAR(static_cast<double>(all.percentileMicros(p)), expected, expected * 0.01)
            << "p" << p;
    }
    EXPECT_EQ(all.percentileMicros(100), 100'000u);

    // Small values are exact, a single sample is its own every percentile, huge ones clamp.
    LatencyHistogram one;
    one.record(77us);
    EXPECT_EQ(one.percentileMicros(0), 77u);
    EXPECT_EQ(one.percentileMicros(99), 77u);
    one.record(std::chrono::hours(100));
    one.record(-5us);
    EXPECT_EQ(one.count(), 3u);
    EXPECT_EQ(one.percentileMicros(0), 0u);
    EXPECT_EQ(one.maxMicros(), (std::uint64_t{1} << 32) - 1);
}

// ---- Against a real server -------------------------------------------------------------------

namespace net = tailwise::net;

// Keep-alive server on an ephemeral port that closes every connection after its third answer,
// answers /fail with 500 and never answers /stall, counting what it really received.
class CountingServer
{
public:
    CountingServer()
    {
        acceptor_.open(net::tcp::v4());
        acceptor_.set_option(net::asio::socket_base::reuse_address(true));
        acceptor_.bind({net::asio::ip::make_address("127.0.0.1"), 0});
        acceptor_.listen();
        net::asio::co_spawn(io_, accept(), net::asio::detached);
        thread_ = std::jthread([this] { io_.run(); });
    }
    ~CountingServer() { io_.stop(); }

    std::uint16_t port() const { return acceptor_.local_endpoint().port(); }

    std::atomic<std::uint64_t> requests{0};
    std::atomic<std::uint64_t> connections{0};

private:
    net::asio::awaitable<void> accept()
    {
        for (;;) {
            auto socket = co_await acceptor_.async_accept(net::asio::use_awaitable);
            ++connections;
            net::asio::co_spawn(io_, serve(std::move(socket)), net::asio::detached);
        }
    }

    net::asio::awaitable<void> serve(net::tcp::socket socket)
    {
        net::beast::flat_buffer buffer;
        for (int answered = 1;; ++answered) {
            net::Request request;
            net::beast::error_code ec;
            co_await net::http::async_read(socket, buffer, request,
                                           net::asio::redirect_error(net::asio::use_awaitable, ec));
            if (ec)
                co_return;
            ++requests;
            if (request.target() == "/stall")
                continue;
            net::Response response{request.target() == "/fail"
                                       ? net::http::status::internal_server_error
                                       : net::http::status::ok,
                                   11};
            response.body() = "ok";
            response.keep_alive(answered % 3 != 0);
            response.prepare_payload();
            co_await net::http::async_write(
                socket, response, net::asio::redirect_error(net::asio::use_awaitable, ec));
            if (ec || !response.keep_alive())
                co_return;
        }
    }

    net::asio::io_context io_;
    net::tcp::acceptor acceptor_{io_};
    std::jthread thread_;
};

std::string urlOf(const CountingServer &server, const std::string &path)
{
    return "http://127.0.0.1:" + std::to_string(server.port()) + path;
}

TEST(LoadgenRun, SendsExactlyTheRequestedCountAcrossReconnects)
{
    CountingServer server;
    const auto summary =
        runLoad(parse({"--url", urlOf(server, "/"), "--requests", "300", "--connections", "8",
                       "--threads", "2", "--warmup", "0", "--duration", "20"}));
    EXPECT_EQ(summary.requests, 300u);
    EXPECT_EQ(summary.errors, 0u);
    EXPECT_EQ(summary.non2xx, 0u);
    EXPECT_EQ(summary.latency.count(), 300u);
    EXPECT_EQ(server.requests.load(), 300u);
    // The server hangs up after every third answer; each hang-up needs a fresh connection.
    EXPECT_GE(server.connections.load(), 100u);
    EXPECT_LT(summary.seconds, 20.0);
}

TEST(LoadgenRun, WarmupIsNotCountedAndFailuresAreSeparated)
{
    CountingServer server;
    const auto summary = runLoad(parse({"--url", urlOf(server, "/fail"), "--connections", "2",
                                        "--warmup", "0.2", "--duration", "0.3"}));
    EXPECT_GT(summary.requests, 0u);
    EXPECT_EQ(summary.non2xx, summary.requests);
    EXPECT_EQ(summary.succeeded(), 0u);
    EXPECT_GT(server.requests.load(), summary.requests);
    EXPECT_NEAR(summary.seconds, 0.3, 0.1);
}

TEST(LoadgenRun, CountsRefusedConnectionsAsErrorsAndStillEnds)
{
    std::uint16_t closedPort = 0;
    {
        CountingServer probe;
        closedPort = probe.port();
    }
    const auto started = std::chrono::steady_clock::now();
    const auto summary =
        runLoad(parse({"--url", "http://127.0.0.1:" + std::to_string(closedPort) + "/",
                       "--connections", "4", "--warmup", "0", "--duration", "0.3"}));
    EXPECT_EQ(summary.requests, 0u);
    EXPECT_GT(summary.errors, 0u);
    EXPECT_LT(std::chrono::steady_clock::now() - started, 3s);
    EXPECT_NE(toJson(summary).find("\"requests\":0,"), std::string::npos);
}

TEST(LoadgenRun, CutsOffStalledRequestsAtTheEndOfTheRun)
{
    CountingServer server;
    const auto started = std::chrono::steady_clock::now();
    const auto summary = runLoad(parse({"--url", urlOf(server, "/stall"), "--connections", "3",
                                        "--warmup", "0", "--duration", "0.3", "--timeout", "30"}));
    EXPECT_LT(std::chrono::steady_clock::now() - started, 2s);
    EXPECT_EQ(server.requests.load(), 3u);
    EXPECT_EQ(summary.requests, 0u);
    EXPECT_EQ(summary.errors, 0u);
    EXPECT_NEAR(summary.seconds, 0.3, 0.1);
}

} // namespace
