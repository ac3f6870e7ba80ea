#include "LoadGenerator.h"

#include "server/http/asio.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <exception>
#include <sstream>
#include <thread>

namespace tailwise::loadgen {

using namespace net;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

// After a failed connect a connection waits this long before the next attempt, so a server
// that is down is not hammered and the error count stays meaningful.
constexpr auto reconnectPause = 50ms;

struct Plan
{
    std::string request;
    tcp::resolver::results_type endpoints;
    Clock::time_point measureFrom;
    Clock::time_point stopAt;
    std::chrono::milliseconds timeout;
    std::optional<std::uint64_t> limit;
    std::atomic<std::uint64_t> issued{0};
};

struct ConnectionStats
{
    std::uint64_t requests = 0;
    std::uint64_t errors = 0;
    std::uint64_t non2xx = 0;
    LatencyHistogram latency;
    std::exception_ptr failure;
};

void closeQuietly(beast::tcp_stream &stream)
{
    beast::error_code ignored;
    stream.socket().shutdown(tcp::socket::shutdown_both, ignored);
    stream.socket().close(ignored);
}

// One persistent connection sending the same request back to back. No operation outlives
// stopAt: a request still in flight then is cut off and not counted, as its latency would
// only be known after the measured window (and a stalled one would stretch the run).
asio::awaitable<void> connectionLoop(Plan &plan, ConnectionStats &stats)
{
    const auto executor = co_await asio::this_coro::executor;
    beast::tcp_stream stream(executor);
    asio::steady_timer pause(executor);
    beast::flat_buffer buffer;
    bool connected = false;

    const auto deadline = [&plan] { return std::min(Clock::now() + plan.timeout, plan.stopAt); };
    for (;;) {
        const auto now = Clock::now();
        if (now >= plan.stopAt)
            break;
        // A request counts if it starts after warm-up; one that straddles the boundary is
        // warm-up traffic.
        const bool measured = now >= plan.measureFrom;
        if (measured && plan.limit &&
            plan.issued.fetch_add(1, std::memory_order_relaxed) >= *plan.limit)
            break;

        beast::error_code ec;
        if (!connected) {
            stream.expires_at(deadline());
            co_await stream.async_connect(plan.endpoints,
                                          asio::redirect_error(asio::use_awaitable, ec));
            if (ec) {
                closeQuietly(stream);
                if (measured && Clock::now() < plan.stopAt)
                    ++stats.errors;
                pause.expires_at(std::min(Clock::now() + reconnectPause, plan.stopAt));
                co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, ec));
                continue;
            }
            stream.socket().set_option(tcp::no_delay(true), ec);
            buffer.clear();
            connected = true;
        }

        const auto start = Clock::now();
        stream.expires_at(deadline());
        co_await asio::async_write(stream, asio::buffer(plan.request),
                                   asio::redirect_error(asio::use_awaitable, ec));
        http::response<http::string_body> response;
        if (!ec)
            co_await http::async_read(stream, buffer, response,
                                      asio::redirect_error(asio::use_awaitable, ec));
        if (ec) {
            // Also the server closing an idle keep-alive connection under us: start afresh.
            closeQuietly(stream);
            connected = false;
            if (measured && Clock::now() < plan.stopAt)
                ++stats.errors;
            continue;
        }
        const auto done = Clock::now();
        const auto elapsed = done - start;
        if (measured && done <= plan.stopAt) {
            ++stats.requests;
            if (response.result_int() < 200 || response.result_int() > 299)
                ++stats.non2xx;
            stats.latency.record(std::chrono::duration_cast<std::chrono::microseconds>(elapsed));
        }
        if (!response.keep_alive()) {
            closeQuietly(stream);
            connected = false;
        }
    }
    closeQuietly(stream);
}

} // namespace

tcp::resolver::results_type resolveLoopback(asio::io_context &io, const Url &url)
{
    tcp::resolver resolver(io);
    beast::error_code ec;
    auto results =
        resolver.resolve(url.host, std::to_string(url.port), tcp::resolver::numeric_service, ec);
    if (ec || results.empty())
        throw std::runtime_error("cannot resolve '" + url.host + "': " + ec.message());
    // "localhost" comes from the resolver; make sure it did not point somewhere else.
    for (const auto &entry : results) {
        const auto address = entry.endpoint().address();
        if (!isLoopbackHost(address.to_string()))
            throw std::runtime_error("'" + url.host + "' resolves to " + address.to_string() +
                                     ", which is not loopback");
    }
    return results;
}

std::string serializeRequest(const Options &options)
{
    http::request<http::string_body> request{
        options.method == "POST" ? http::verb::post : http::verb::get, options.url.target, 11};
    for (const auto &[name, value] : options.headers)
        request.insert(name, value);
    if (request.find(http::field::host) == request.end()) {
        const bool v6 = options.url.host.find(':') != std::string::npos;
        std::string host = v6 ? "[" + options.url.host + "]" : options.url.host;
        if (options.url.port != 80)
            host += ":" + std::to_string(options.url.port);
        request.set(http::field::host, host);
    }
    if (request.find(http::field::user_agent) == request.end())
        request.set(http::field::user_agent, "tailwise-loadgen");
    if (!options.contentType.empty())
        request.set(http::field::content_type, options.contentType);
    request.keep_alive(true);
    request.body() = options.body;
    request.prepare_payload();
    std::ostringstream out;
    out << request;
    return std::move(out).str();
}

Summary runLoad(const Options &options)
{
    asio::io_context io(options.threads);
    Plan plan;
    plan.request = serializeRequest(options);
    plan.endpoints = resolveLoopback(io, options.url);
    plan.timeout = options.timeout;
    plan.limit = options.requests;

    std::vector<ConnectionStats> stats(static_cast<std::size_t>(options.connections));
    plan.measureFrom = Clock::now() + options.warmup;
    plan.stopAt = plan.measureFrom + options.duration;
    for (auto &slot : stats) {
        asio::co_spawn(asio::make_strand(io), connectionLoop(plan, slot),
                       [&slot](std::exception_ptr failure) { slot.failure = failure; });
    }

    {
        std::vector<std::jthread> helpers;
        for (int i = 1; i < options.threads; ++i)
            helpers.emplace_back([&io] { io.run(); });
        io.run();
    }
    const auto finished = Clock::now();

    Summary summary;
    summary.connections = options.connections;
    summary.seconds = std::max(
        0.0,
        std::chrono::duration<double>(std::min(finished, plan.stopAt) - plan.measureFrom).count());
    for (const auto &slot : stats) {
        if (slot.failure)
            std::rethrow_exception(slot.failure);
        summary.requests += slot.requests;
        summary.errors += slot.errors;
        summary.non2xx += slot.non2xx;
        summary.latency.merge(slot.latency);
    }
    return summary;
}

std::string toJson(const Summary &summary)
{
    const auto ms = [](std::uint64_t micros) { return static_cast<double>(micros) / 1000.0; };
    char line[512];
    std::snprintf(line, sizeof line,
                  "{\"connections\":%d,\"requests\":%llu,\"errors\":%llu,\"non2xx\":%llu,"
                  "\"seconds\":%.3f,\"rps\":%.1f,\"p50_ms\":%.3f,\"p99_ms\":%.3f,"
                  "\"max_ms\":%.3f}",
                  summary.connections, static_cast<unsigned long long>(summary.requests),
                  static_cast<unsigned long long>(summary.errors),
                  static_cast<unsigned long long>(summary.non2xx), summary.seconds, summary.rps(),
                  ms(summary.latency.percentileMicros(50)),
                  ms(summary.latency.percentileMicros(99)), ms(summary.latency.maxMicros()));
    return line;
}

} // namespace tailwise::loadgen
