#pragma once

#include "AccessLog.h"
#include "asio.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

namespace tailwise::net {

struct ServerLimits
{
    std::size_t maxBodyBytes = 10 * 1024 * 1024;
    std::uint32_t maxHeaderBytes = 16 * 1024;
    std::size_t maxTargetBytes = 2048;
    // A whole request, from waiting for its first byte to its last, must arrive in this time.
    std::chrono::milliseconds readTimeout{std::chrono::seconds(30)};
    std::chrono::milliseconds writeTimeout{std::chrono::seconds(30)};
    unsigned maxRequestsPerConnection = 10000;
    std::size_t maxConnections = 4096;
};

// A response body produced over time, such as server-sent events. The session writes the head,
// then whatever next() yields, one write at a time, until a chunk is the last, the client goes
// away or the server stops; the connection closes with the stream.
class ResponseStream
{
public:
    struct Chunk
    {
        // Written in order; shared with other streams, never copied. Empty: nothing to send
        // right now.
        std::vector<std::shared_ptr<const std::string>> pieces;
        bool last = false;
    };

    virtual ~ResponseStream() = default;
    // Called once on the session's strand, before the first next(). `ready` may be called from
    // any thread whenever next() has something new, `abort` to make the session give up
    // (closing the connection even in the middle of a write); both only post to the strand.
    virtual void start(std::function<void()> ready, std::function<void()> abort) = 0;
    virtual Chunk next() = 0;
    // Sent after idleTimeout() without a write (a keep-alive); empty sends nothing.
    virtual std::string idle() { return {}; }
    virtual std::chrono::milliseconds idleTimeout() const { return std::chrono::hours(24); }
    // The stream is over, for whatever reason; called once.
    virtual void close() {}
};

struct StreamingResponse
{
    Response head; // status and headers; the body is the stream
    std::shared_ptr<ResponseStream> body;
};

using Reply = std::variant<Response, StreamingResponse>;

// A handler that may answer with a stream; a distinct type so the two constructors never
// compete for a lambda.
struct StreamingHandler
{
    std::function<Reply(const Request &)> handle;
};

// Asynchronous HTTP/1.1 server: one C++20 coroutine per connection, each on its own strand,
// one request at a time per connection. The handler is a plain function from request to
// response; it runs on the blocking-work pool so slow handlers (password hashing, disk)
// never stall the I/O threads.
class HttpServer
{
public:
    using Handler = std::function<Response(const Request &)>;
    using ErrorResponder =
        std::function<Response(const Request &, http::status, const std::string &message)>;

    HttpServer(asio::io_context &io, asio::thread_pool &workers, std::string service,
               Handler handler, ErrorResponder errors, AccessLog &log, ServerLimits limits = {});
    HttpServer(asio::io_context &io, asio::thread_pool &workers, std::string service,
               StreamingHandler handler, ErrorResponder errors, AccessLog &log,
               ServerLimits limits = {});
    ~HttpServer();
    HttpServer(const HttpServer &) = delete;
    HttpServer &operator=(const HttpServer &) = delete;

    // Requests for which `isSlow` holds run on `pool` instead of the workers, so that a queue
    // of expensive requests (password hashing) never delays the cheap ones. Call before start.
    void setSlowLane(asio::thread_pool &pool, std::function<bool(const Request &)> isSlow)
    {
        slowLane_ = &pool;
        isSlow_ = std::move(isSlow);
    }

    // Binds and listens; port 0 picks a free port. Throws boost::system::system_error.
    tcp::endpoint listen(const std::string &host, unsigned short port);
    void start();
    // Stops accepting, lets requests in flight finish and closes idle connections.
    void stop();

    std::size_t openConnections() const;

private:
    class Session;
    friend class Session;

    asio::awaitable<void> acceptLoop();
    void forget(Session *session);

    asio::io_context &io_;
    asio::thread_pool &workers_;
    asio::thread_pool *slowLane_ = nullptr;
    std::function<bool(const Request &)> isSlow_;
    std::string service_;
    StreamingHandler handler_;
    ErrorResponder errors_;
    AccessLog &log_;
    ServerLimits limits_;
    tcp::acceptor acceptor_;
    std::atomic<bool> stopping_{false};
    mutable std::mutex sessionsMutex_;
    std::unordered_map<Session *, std::weak_ptr<Session>> sessions_;
};

// The client's address as the server saw it, set on every request a handler receives (any
// value the client sent under the same name is replaced). Rate limits key on it.
inline constexpr std::string_view peerHeader = "X-Tailwise-Peer";
std::string peerAddress(const Request &request);

// True when a request target is an origin-form path we are willing to route.
bool acceptableTarget(std::string_view target, std::size_t maxBytes);

} // namespace tailwise::net
