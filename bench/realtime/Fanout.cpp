#include "Fanout.h"

#include "Messages.h"
#include "bench/loadgen/LoadGenerator.h"
#include "server/http/asio.h"

#include <atomic>
#include <cstdio>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <thread>
#include <unordered_map>

namespace tailwise::fanout {

using namespace net;
using asio::awaitable;
using asio::redirect_error;
using asio::use_awaitable;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

// After a failed connect a writer waits this long before the next attempt.
constexpr auto reconnectPause = 50ms;
// While priming, a message that has not reached every listener by then is given up on and
// the next one sent: a listener whose subscription was still being set up never gets it.
constexpr auto primingDelivery = 250ms;
// How often a writer waiting for delivery, and the run's control, look whether the run has
// failed or finished.
constexpr auto statePoll = 10ms;
constexpr auto deliveryPoll = 100ms;
constexpr std::size_t readChunkBytes = 16 * 1024;

std::int64_t steadyNanos(Clock::time_point at)
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(at.time_since_epoch()).count();
}

std::string messageText(std::size_t bytes)
{
    static constexpr std::string_view phrase = "Walkies at the park at five? Bring the ball. ";
    std::string text;
    while (text.size() < bytes)
        text += phrase;
    text.resize(bytes);
    return text;
}

std::string freshLocation()
{
    std::mt19937_64 random{std::random_device{}()};
    char name[32];
    std::snprintf(name, sizeof name, "fanout-%016llx", static_cast<unsigned long long>(random()));
    return name;
}

// A chat's messages go where the app keeps them: its conversation's message list.
std::string chosenLocation(const Options &options)
{
    if (options.chat())
        return "Tailwise_Chat/" + options.chatSender + "_" + options.chatReceiver + "/Messages";
    return options.location.empty() ? freshLocation() : options.location;
}

std::string describe(std::exception_ptr failure)
{
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception &error) {
        return error.what();
    } catch (...) {
        return "unknown exception";
    }
}

std::string httpRequest(std::string_view method, std::string_view target, std::string_view host,
                        std::string_view body = {}, std::string_view extraHeaders = {})
{
    std::string request;
    request.reserve(200 + body.size());
    request.append(method).append(" ").append(target).append(" HTTP/1.1\r\nHost: ");
    request.append(host).append("\r\nUser-Agent: tailwise-fanout-bench\r\n").append(extraHeaders);
    if (method == "POST" || method == "PUT") {
        request.append("Content-Type: application/json\r\nContent-Length: ");
        request.append(std::to_string(body.size())).append("\r\n");
    }
    request.append("\r\n").append(body);
    return request;
}

std::string respCommand(std::initializer_list<std::string_view> parts)
{
    std::string command = "*" + std::to_string(parts.size()) + "\r\n";
    for (const auto part : parts)
        command.append("$")
            .append(std::to_string(part.size()))
            .append("\r\n")
            .append(part)
            .append("\r\n");
    return command;
}

// The bytes each system is sent, built once per run.
class Protocol
{
public:
    Protocol(System system, const std::string &host, std::uint16_t port, std::string location,
             const std::string &auth)
        : system_(system), location_(std::move(location)),
          query_(auth.empty() ? "" : "?auth=" + auth)
    {
        const bool v6 = host.find(':') != std::string::npos;
        host_ = (v6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
        switch (system_) {
        case System::tailwise:
            stream_ = httpRequest("GET", "/" + location_ + ".json" + query_, host_, {},
                                  "Accept: text/event-stream\r\n");
            break;
        case System::pouchdb:
            stream_ = httpRequest("GET",
                                  "/" + location_ +
                                      "/_changes?feed=continuous&since=now&include_docs=true"
                                      "&heartbeat=10000",
                                  host_);
            break;
        case System::nodeSse:
            stream_ =
                httpRequest("GET", "/" + location_, host_, {}, "Accept: text/event-stream\r\n");
            break;
        case System::redis:
            stream_ = respCommand({"SUBSCRIBE", location_});
            break;
        }
    }

    bool http() const { return system_ != System::redis; }
    const std::string &streamRequest() const { return stream_; }

    std::string writeRequest(std::string_view message) const
    {
        switch (system_) {
        case System::tailwise:
            return httpRequest("POST", "/" + location_ + ".json" + query_, host_, message);
        case System::pouchdb:
        case System::nodeSse:
            return httpRequest("POST", "/" + location_, host_, message);
        case System::redis:
            break;
        }
        return respCommand({"PUBLISH", location_, message});
    }

    // Before the listeners connect: the CouchDB database they listen to must exist.
    std::string setupRequest() const
    {
        return system_ == System::pouchdb ? httpRequest("PUT", "/" + location_, host_) : "";
    }

    // Once they are gone: the run's data goes, so the next run starts from the same state.
    std::string teardownRequest() const
    {
        switch (system_) {
        case System::tailwise:
            return httpRequest("DELETE", "/" + location_ + ".json" + query_, host_);
        case System::pouchdb:
            return httpRequest("DELETE", "/" + location_, host_);
        default:
            return "";
        }
    }

private:
    System system_;
    std::string location_;
    std::string query_; // "?auth=..." or nothing
    std::string host_;
    std::string stream_;
};

// The writes whose events are still expected, with how many listeners have yet to get each.
// Touched by every listener on every event, under a lock held for a map look-up.
class Ledger
{
public:
    explicit Ledger(std::uint32_t listeners) : listeners_(listeners) {}

    // `wake` is called, on the thread of the listener completing it, once every listener has
    // the message.
    void open(std::uint64_t seq, bool measured, std::function<void()> wake)
    {
        const std::lock_guard lock(mutex_);
        open_.emplace(seq, Entry{listeners_, measured, std::move(wake)});
    }

    // One listener got message `seq`; true when it is a measured write still waited for.
    bool received(std::uint64_t seq)
    {
        std::function<void()> wake;
        bool measured = false;
        {
            const std::lock_guard lock(mutex_);
            const auto found = open_.find(seq);
            if (found == open_.end() || found->second.remaining == 0)
                return false;
            measured = found->second.measured;
            if (--found->second.remaining == 0)
                wake = std::move(found->second.wake);
        }
        if (wake)
            wake();
        return measured;
    }

    bool delivered(std::uint64_t seq) const
    {
        const std::lock_guard lock(mutex_);
        const auto found = open_.find(seq);
        return found != open_.end() && found->second.remaining == 0;
    }

    // Stops waiting for `seq`; returns how many listeners never got it.
    std::uint32_t close(std::uint64_t seq)
    {
        const std::lock_guard lock(mutex_);
        const auto found = open_.find(seq);
        if (found == open_.end())
            return 0;
        const std::uint32_t missing = found->second.remaining;
        open_.erase(found);
        return missing;
    }

private:
    struct Entry
    {
        std::uint32_t remaining;
        bool measured;
        std::function<void()> wake;
    };

    const std::uint32_t listeners_;
    mutable std::mutex mutex_;
    std::unordered_map<std::uint64_t, Entry> open_;
};

struct RunState
{
    RunState(const Options &options, tcp::resolver::results_type endpoints)
        : options(options), protocol(options.system, options.host, options.port,
                                     chosenLocation(options), options.auth),
          endpoints(std::move(endpoints)), text(messageText(options.textBytes)),
          ledger(static_cast<std::uint32_t>(options.listeners))
    {}

    std::string message(std::uint64_t seq, std::int64_t sentNs) const
    {
        return options.chat()
                   ? chatMessage(seq, sentNs, text, options.chatSender, options.chatReceiver)
                   : benchMessage(seq, sentNs, text);
    }

    // The first failure is the one reported; everything winds down after it.
    void fail(const std::string &reason)
    {
        const std::lock_guard lock(mutex);
        if (failure.empty())
            failure = reason;
        aborted = true;
    }

    void noteError(const std::string &text)
    {
        const std::lock_guard lock(mutex);
        if (firstError.empty())
            firstError = text;
    }

    std::string firstErrorText()
    {
        const std::lock_guard lock(mutex);
        return firstError;
    }

    const Options &options;
    const Protocol protocol;
    const tcp::resolver::results_type endpoints;
    const std::string text;
    Ledger ledger;
    // Set before the writers start, read-only afterwards.
    Clock::time_point measureFrom;
    Clock::time_point stopAt;

    std::atomic<std::uint64_t> nextSeq{1};
    std::atomic<int> streamsRequested{0};
    std::atomic<int> listenersLive{0}; // those that have received a message
    std::atomic<int> writersDone{0};
    std::atomic<bool> aborted{false};
    // The listeners are being closed on purpose: a stream ending is no failure any more.
    std::atomic<bool> finishing{false};

    std::mutex mutex;
    std::string failure;
    std::string firstError;
};

void closeQuietly(beast::tcp_stream &stream)
{
    beast::error_code ignored;
    stream.socket().shutdown(tcp::socket::shutdown_both, ignored);
    stream.socket().close(ignored);
}

// One connection that sends requests one at a time: writes, and the set-up and clean-up
// requests around a run.
class Writer
{
public:
    struct Outcome
    {
        bool acknowledged = false;
        Clock::time_point acknowledgedAt;
        // Listeners the message had not reached when the writer stopped waiting.
        std::uint32_t missed = 0;
    };

    Writer(RunState &run, asio::any_io_executor executor)
        : run_(run), stream_(executor), wake_(executor)
    {}

    asio::any_io_executor executor() { return stream_.get_executor(); }

    // Sends one message, waits for its acknowledgement, then for the message to reach every
    // listener, at most `deliveryWait` after the acknowledgement.
    awaitable<Outcome> write(bool measured, Clock::duration deliveryWait)
    {
        Outcome outcome;
        const std::uint64_t seq = run_.nextSeq.fetch_add(1, std::memory_order_relaxed);
        const auto sent = Clock::now();
        const std::string request =
            run_.protocol.writeRequest(run_.message(seq, steadyNanos(sent)));
        // The wake-up is posted to this writer's strand, where the wait below runs.
        run_.ledger.open(seq, measured,
                         [this] { asio::post(wake_.get_executor(), [this] { wake_.cancel(); }); });
        if (const std::string error = co_await send(request); !error.empty()) {
            run_.noteError(error);
            run_.ledger.close(seq);
            co_return outcome;
        }
        outcome.acknowledged = true;
        outcome.acknowledgedAt = Clock::now();
        const auto deadline = outcome.acknowledgedAt + deliveryWait;
        beast::error_code ec;
        // Checked and waited for without a suspension in between, so a wake-up posted once
        // the check has seen the write incomplete always finds the timer waiting.
        while (!run_.ledger.delivered(seq) && !run_.aborted) {
            const auto now = Clock::now();
            if (now >= deadline)
                break;
            wake_.expires_at(std::min(deadline, now + deliveryPoll));
            co_await wake_.async_wait(redirect_error(use_awaitable, ec));
        }
        outcome.missed = run_.ledger.close(seq);
        co_return outcome;
    }

    // Sends one request and reads its answer; the error's text, empty on success. A kept-alive
    // connection the server closed while idle is reopened and the request sent again, as
    // HTTP clients do.
    awaitable<std::string> send(const std::string &request)
    {
        beast::error_code ec;
        const bool reused = connected_;
        if (!connected_) {
            stream_.expires_after(run_.options.timeout);
            co_await stream_.async_connect(run_.endpoints, redirect_error(use_awaitable, ec));
            if (ec) {
                closeQuietly(stream_);
                wake_.expires_after(reconnectPause);
                co_await wake_.async_wait(redirect_error(use_awaitable, ec));
                co_return "cannot connect: " + ec.message();
            }
            stream_.socket().set_option(tcp::no_delay(true), ec);
            buffer_.clear();
            connected_ = true;
        }
        stream_.expires_after(run_.options.timeout);
        co_await asio::async_write(stream_, asio::buffer(request),
                                   redirect_error(use_awaitable, ec));
        std::string refusal;
        if (!ec && run_.protocol.http()) {
            http::response<http::string_body> response;
            co_await http::async_read(stream_, buffer_, response,
                                      redirect_error(use_awaitable, ec));
            if (!ec && response.result_int() / 100 != 2)
                refusal = "HTTP " + std::to_string(response.result_int()) + ": " +
                          response.body().substr(0, 200);
            if (!ec && !response.keep_alive())
                close();
        } else if (!ec) {
            // A RESP integer reply (":<receivers>") or an error ("-ERR ...").
            const std::string line = co_await readLine(ec);
            if (!ec && (line.empty() || line.front() != ':'))
                refusal = "Redis answered '" + line.substr(0, 200) + "'";
        }
        if (ec) {
            close();
            if (reused && (ec == http::error::end_of_stream || ec == asio::error::eof ||
                           ec == asio::error::connection_reset))
                co_return co_await send(request);
            co_return "write failed: " + ec.message();
        }
        co_return refusal;
    }

    void close()
    {
        closeQuietly(stream_);
        connected_ = false;
    }

private:
    awaitable<std::string> readLine(beast::error_code &ec)
    {
        for (;;) {
            const std::string_view have(static_cast<const char *>(buffer_.data().data()),
                                        buffer_.size());
            if (const auto end = have.find("\r\n"); end != have.npos) {
                std::string line(have.substr(0, end));
                buffer_.consume(end + 2);
                co_return line;
            }
            const std::size_t got = co_await stream_.async_read_some(
                buffer_.prepare(readChunkBytes), redirect_error(use_awaitable, ec));
            buffer_.commit(got);
            if (ec)
                co_return "";
        }
    }

    RunState &run_;
    beast::tcp_stream stream_;
    beast::flat_buffer buffer_;
    asio::steady_timer wake_;
    bool connected_ = false;
};

// One stream held open for the whole run, on a strand of its own.
class Listener
{
public:
    Listener(RunState &run, asio::any_io_executor executor) : run_(run), stream_(executor) {}

    asio::any_io_executor executor() { return stream_.get_executor(); }

    awaitable<void> run()
    {
        beast::error_code ec;
        stream_.expires_after(run_.options.timeout);
        co_await stream_.async_connect(run_.endpoints, redirect_error(use_awaitable, ec));
        if (!ec)
            stream_.socket().set_option(tcp::no_delay(true), ec);
        if (!ec)
            co_await asio::async_write(stream_, asio::buffer(run_.protocol.streamRequest()),
                                       redirect_error(use_awaitable, ec));
        if (ec) {
            run_.fail("a listener could not open its stream: " + ec.message());
            co_return;
        }
        // Some servers answer only with the first event (Express holds the head back until
        // the body's first write), so asking is as far as the listener can be checked here;
        // priming the run shows that every stream delivers.
        stream_.expires_never();
        ++run_.streamsRequested;
        if (run_.protocol.http())
            co_await readHttpStream(ec);
        else
            co_await readRawStream(ec);
        if (!run_.finishing)
            run_.fail("a listener's stream ended: " +
                      (ec ? ec.message() : std::string("closed by the server")));
    }

    // Called from another strand once the run is over.
    void close()
    {
        asio::post(stream_.get_executor(), [this] { closeQuietly(stream_); });
    }

    const loadgen::LatencyHistogram &latency() const { return latency_; }
    std::uint64_t events() const { return events_; }

private:
    awaitable<void> readHttpStream(beast::error_code &ec)
    {
        http::response_parser<http::buffer_body> parser;
        parser.body_limit(std::numeric_limits<std::uint64_t>::max());
        co_await http::async_read_header(stream_, buffer_, parser,
                                         redirect_error(use_awaitable, ec));
        if (ec)
            co_return;
        if (parser.get().result_int() != 200) {
            run_.fail("a listener's stream was answered with HTTP " +
                      std::to_string(parser.get().result_int()));
            co_return;
        }
        char chunk[readChunkBytes];
        // The parser takes away the framing (chunked for Node's servers, none for ours).
        while (!parser.is_done()) {
            parser.get().body().data = chunk;
            parser.get().body().size = sizeof chunk;
            co_await http::async_read_some(stream_, buffer_, parser,
                                           redirect_error(use_awaitable, ec));
            if (ec == http::error::need_buffer)
                ec = {};
            take({chunk, sizeof chunk - parser.get().body().size});
            if (ec)
                co_return;
        }
    }

    awaitable<void> readRawStream(beast::error_code &ec)
    {
        char chunk[readChunkBytes];
        while (!ec) {
            const std::size_t got = co_await stream_.async_read_some(
                asio::buffer(chunk), redirect_error(use_awaitable, ec));
            take({chunk, got});
        }
    }

    void take(std::string_view bytes)
    {
        if (bytes.empty())
            return;
        // Every message in one read arrived at the same moment.
        const std::int64_t now = steadyNanos(Clock::now());
        found_.clear();
        scanner_.feed(bytes, found_);
        if (!live_ && !found_.empty()) {
            live_ = true;
            ++run_.listenersLive;
        }
        for (const Stamp &stamp : found_) {
            if (!run_.ledger.received(stamp.seq))
                continue;
            latency_.record(std::chrono::microseconds((now - stamp.sentNs) / 1000));
            ++events_;
        }
    }

    RunState &run_;
    beast::tcp_stream stream_;
    beast::flat_buffer buffer_;
    MessageScanner scanner_;
    std::vector<Stamp> found_;
    loadgen::LatencyHistogram latency_;
    std::uint64_t events_ = 0;
    bool live_ = false;
};

struct WriterStats
{
    std::uint64_t writes = 0;
    std::uint64_t errors = 0;
    std::uint64_t missed = 0;
};

awaitable<void> writeLoop(RunState &run, Writer &writer, WriterStats &stats)
{
    while (!run.aborted) {
        const auto now = Clock::now();
        if (now >= run.stopAt)
            break;
        // A write counts if it starts after warm-up.
        const bool measured = now >= run.measureFrom;
        const Writer::Outcome outcome =
            co_await writer.write(measured, run.options.deliveryTimeout);
        if (!measured)
            continue;
        if (!outcome.acknowledged)
            ++stats.errors;
        else if (outcome.acknowledgedAt <= run.stopAt)
            ++stats.writes;
        stats.missed += outcome.missed;
    }
    writer.close();
}

class Run
{
public:
    Run(const Options &options, tcp::resolver::results_type endpoints, asio::io_context &io)
        : state_(options, std::move(endpoints)), stats_(options.writers)
    {
        for (int i = 0; i < options.listeners; ++i)
            listeners_.push_back(std::make_unique<Listener>(state_, asio::make_strand(io)));
        for (int i = 0; i < options.writers; ++i)
            writers_.push_back(std::make_unique<Writer>(state_, asio::make_strand(io)));
    }

    awaitable<void> control()
    {
        const Options &options = state_.options;
        const auto executor = co_await asio::this_coro::executor;
        Writer admin(state_, executor);
        asio::steady_timer tick(executor);
        beast::error_code ec;

        if (const auto setup = state_.protocol.setupRequest(); !setup.empty()) {
            if (const auto error = co_await admin.send(setup); !error.empty())
                state_.fail("setting up the run failed: " + error);
        }
        if (!state_.aborted) {
            for (auto &listener : listeners_)
                asio::co_spawn(listener->executor(), listener->run(), failOnException());
        }
        auto deadline = Clock::now() + options.timeout;
        while (!state_.aborted && state_.streamsRequested < options.listeners) {
            if (Clock::now() >= deadline)
                state_.fail("only " + std::to_string(state_.streamsRequested.load()) + " of " +
                            std::to_string(options.listeners) +
                            " listeners could ask for a stream within " + seconds(options.timeout));
            tick.expires_after(statePoll);
            co_await tick.async_wait(redirect_error(use_awaitable, ec));
        }

        // Streams are asked for, but a server may still be setting up a subscription: send
        // single messages until every listener has received one. Streams keep order, so from
        // then on each listener gets every message.
        deadline = Clock::now() + options.timeout;
        while (!state_.aborted && state_.listenersLive < options.listeners) {
            if (Clock::now() >= deadline) {
                const std::string firstError = state_.firstErrorText();
                state_.fail("only " + std::to_string(state_.listenersLive.load()) + " of " +
                            std::to_string(options.listeners) +
                            " listeners received a message within " + seconds(options.timeout) +
                            (firstError.empty() ? "" : " (" + firstError + ")"));
                break;
            }
            co_await admin.write(false, primingDelivery);
        }

        if (!state_.aborted) {
            state_.measureFrom = Clock::now() + options.warmup;
            state_.stopAt = state_.measureFrom + options.duration;
            for (std::size_t i = 0; i < writers_.size(); ++i)
                asio::co_spawn(writers_[i]->executor(), writeLoop(state_, *writers_[i], stats_[i]),
                               [this](std::exception_ptr failure) {
                                   if (failure)
                                       state_.fail(describe(failure));
                                   ++state_.writersDone;
                               });
            while (state_.writersDone < options.writers) {
                tick.expires_after(statePoll);
                co_await tick.async_wait(redirect_error(use_awaitable, ec));
            }
        }

        state_.finishing = true;
        for (auto &listener : listeners_)
            listener->close();
        if (const auto teardown = state_.protocol.teardownRequest(); !teardown.empty())
            co_await admin.send(teardown);
        admin.close();
    }

    Summary summary() const
    {
        if (!state_.failure.empty())
            throw std::runtime_error(state_.failure);
        const Options &options = state_.options;
        Summary summary;
        summary.system = options.system;
        summary.listeners = options.listeners;
        summary.writers = options.writers;
        summary.seconds = std::chrono::duration<double>(options.duration).count();
        summary.firstError = state_.firstError;
        for (const auto &stats : stats_) {
            summary.writes += stats.writes;
            summary.writeErrors += stats.errors;
            summary.missed += stats.missed;
        }
        for (const auto &listener : listeners_) {
            summary.events += listener->events();
            summary.latency.merge(listener->latency());
        }
        return summary;
    }

    std::function<void(std::exception_ptr)> failOnException()
    {
        return [this](std::exception_ptr failure) {
            if (failure)
                state_.fail(describe(failure));
        };
    }

private:
    static std::string seconds(std::chrono::milliseconds duration)
    {
        char text[32];
        std::snprintf(text, sizeof text, "%.1f s", std::chrono::duration<double>(duration).count());
        return text;
    }

    RunState state_;
    std::vector<std::unique_ptr<Listener>> listeners_;
    std::vector<std::unique_ptr<Writer>> writers_;
    std::vector<WriterStats> stats_;
};

} // namespace

Summary run(const Options &options)
{
    asio::io_context io(options.threads);
    const auto endpoints = loadgen::resolveLoopback(io, loadgen::Url{options.host, options.port});
    Run run(options, endpoints, io);
    asio::co_spawn(asio::make_strand(io), run.control(), run.failOnException());
    {
        std::vector<std::jthread> helpers;
        for (int i = 1; i < options.threads; ++i)
            helpers.emplace_back([&io] { io.run(); });
        io.run();
    }
    return run.summary();
}

} // namespace tailwise::fanout
