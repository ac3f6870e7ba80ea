#pragma once

#include "AccessLog.h"
#include "ClientBook.h"
#include "HostCheck.h"
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

struct BodyReservation;

struct ServerLimits
{
    std::size_t maxBodyBytes = 10 * 1024 * 1024;
    std::uint32_t maxHeaderBytes = 16 * 1024;
    std::size_t maxTargetBytes = 2048;
    // A request's header must have arrived this long after the connection opened or the last
    // answer went out; its body within readTimeout after that.
    std::chrono::milliseconds headerTimeout{std::chrono::seconds(10)};
    std::chrono::milliseconds readTimeout{std::chrono::seconds(30)};
    std::chrono::milliseconds writeTimeout{std::chrono::seconds(30)};
    unsigned maxRequestsPerConnection = 10000;
    std::size_t maxConnections = 4096;
    // No client address may hold more; past either connection limit, a new connection takes
    // the place of the one that has waited longest for a request, from the address holding
    // the most, so a client trickling bytes or idling cannot lock the others out.
    std::size_t maxConnectionsPerAddress = 2048;
    std::size_t maxStreamsPerAddress = 1024;
    // The bodies of all requests being received or handled together; a request that would
    // pass it is answered 503 before its body is read.
    std::size_t maxBufferedBodyBytes = 128 * 1024 * 1024;
    // Host names besides the loopback ones and the listen address (see HostCheck).
    std::vector<std::string> publicHosts;
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
    friend struct BodyReservation;

    asio::awaitable<void> acceptLoop();
    // Makes room for a connection: true when it may stay, possibly after evicting another
    // that is only waiting for a request.
    bool admit(Session &session);
    void forget(Session *session);
    bool reserveBody(std::size_t bytes);
    void releaseBody(std::size_t bytes);

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
    HostCheck hosts_;
    std::atomic<bool> stopping_{false};
    std::atomic<std::size_t> bufferedBodyBytes_{0};
    mutable std::mutex sessionsMutex_;
    std::unordered_map<Session *, std::weak_ptr<Session>> sessions_;
    ClientBook clients_;
};

// The client's address as the server saw it, set on every request a handler receives (any
// value the client sent under the same name is replaced). Rate limits key on it.
inline constexpr std::string_view peerHeader = "X-Tailwise-Peer";
std::string peerAddress(const Request &request);

// True when a request target is an origin-form path we are willing to route.
bool acceptableTarget(std::string_view target, std::size_t maxBytes);

} // namespace tailwise::net
