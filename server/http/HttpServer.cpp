#include "HttpServer.h"

#include <boost/algorithm/string/case_conv.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <vector>

namespace tailwise::net {
namespace {

constexpr int streamSendBufferBytes = 128 * 1024;

using asio::awaitable;
using asio::redirect_error;
using asio::use_awaitable;

bool containsDotDotSegment(std::string_view path)
{
    const std::string lowered = boost::algorithm::to_lower_copy(std::string(path));
    for (const std::string_view dots : {"..", ".%2e", "%2e.", "%2e%2e"}) {
        std::size_t at = 0;
        while ((at = lowered.find(dots, at)) != std::string::npos) {
            const bool startsSegment = at == 0 || lowered[at - 1] == '/';
            const std::size_t end = at + dots.size();
            const bool endsSegment = end == lowered.size() || lowered[end] == '/';
            if (startsSegment && endsSegment)
                return true;
            at = end;
        }
    }
    return false;
}

bool isQuietDisconnect(const beast::error_code &ec)
{
    return ec == http::error::end_of_stream || ec == asio::error::eof ||
           ec == asio::error::operation_aborted || ec == beast::error::timeout ||
           ec == asio::error::connection_reset || ec == asio::error::broken_pipe ||
           ec == http::error::partial_message;
}

} // namespace

std::string peerAddress(const Request &request)
{
    return std::string(request[peerHeader]);
}

bool acceptableTarget(std::string_view target, std::size_t maxBytes)
{
    if (target.empty() || target.size() > maxBytes || target.front() != '/')
        return false;
    if (std::any_of(target.begin(), target.end(),
                    [](unsigned char c) { return c <= 0x20 || c == 0x7f || c == '\\'; }))
        return false;
    const auto query = target.find('?');
    const std::string_view path =
        query == std::string_view::npos ? target : target.substr(0, query);
    return !containsDotDotSegment(path);
}

// Gives a request's share of the body budget back when the request is done with.
struct BodyReservation
{
    HttpServer &server;
    std::size_t bytes;
    ~BodyReservation()
    {
        if (bytes)
            server.releaseBody(bytes);
    }
};

class HttpServer::Session : public std::enable_shared_from_this<HttpServer::Session>
{
public:
    Session(HttpServer &server, tcp::socket socket) : server_(server), stream_(std::move(socket))
    {
        beast::error_code ec;
        const auto peer = stream_.socket().remote_endpoint(ec);
        if (!ec) {
            peer_ = peer.address().to_string();
            remote_ = peer_ + ':' + std::to_string(peer.port());
        }
    }

    awaitable<void> run();
    asio::any_io_executor executor() { return stream_.get_executor(); }
    const std::string &address() const { return peer_; }
    // Runs on the session's strand: closes the connection if it is still only waiting.
    void evict()
    {
        if (!waitingForRequest_)
            return;
        stopping_ = true;
        beast::error_code ignored;
        stream_.socket().cancel(ignored);
    }

    // Runs on the session's strand.
    void shutdown()
    {
        stopping_ = true;
        if (waitingForRequest_) {
            beast::error_code ignored;
            stream_.socket().cancel(ignored);
        }
        if (streamWake_)
            streamWake_->cancel();
    }

private:
    awaitable<void> answerAndClose(Response response, std::string_view method,
                                   std::string_view target,
                                   std::chrono::steady_clock::time_point started);
    awaitable<void> drainAndClose();
    awaitable<void> streamBody(StreamingResponse reply, std::string_view method,
                               std::string_view target,
                               std::chrono::steady_clock::time_point started);
    awaitable<void> watchPeer(std::shared_ptr<Session> self);
    void wakeStream();
    void abortStream();
    void log(std::string_view method, std::string_view target, const Response &response,
             std::chrono::steady_clock::time_point started);

    HttpServer &server_;
    beast::tcp_stream stream_;
    beast::flat_buffer buffer_;
    std::string peer_ = "?";
    std::string remote_ = "?";
    bool stopping_ = false;
    bool waitingForRequest_ = false;
    // While streaming: the timer the stream waits on, and why it might be woken.
    asio::steady_timer *streamWake_ = nullptr;
    bool streamReady_ = false;
    bool peerGone_ = false;
};

awaitable<void> HttpServer::Session::run()
{
    const ServerLimits &limits = server_.limits_;
    for (unsigned served = 0; !stopping_; ++served) {
        http::request_parser<http::string_body> parser;
        parser.header_limit(limits.maxHeaderBytes);
        parser.body_limit(limits.maxBodyBytes);

        beast::error_code ec;
        stream_.expires_after(limits.headerTimeout);
        waitingForRequest_ = true;
        server_.clients_.setWaiting(this, peer_, true);
        co_await http::async_read_header(stream_, buffer_, parser,
                                         redirect_error(use_awaitable, ec));
        waitingForRequest_ = false;
        server_.clients_.setWaiting(this, peer_, false);
        const auto started = std::chrono::steady_clock::now();

        // The body is held in memory until the answer is out: it is counted against the
        // server's budget for bodies before a byte of it is read.
        std::size_t bodyBytes = 0;
        if (!ec && !parser.is_done()) {
            bodyBytes = std::min<std::size_t>(parser.content_length().value_or(limits.maxBodyBytes),
                                              limits.maxBodyBytes);
            if (!server_.reserveBody(bodyBytes)) {
                Response busy =
                    server_.errors_(Request{parser.get().base()}, http::status::service_unavailable,
                                    "The server is busy; try again in a moment.");
                busy.set(http::field::retry_after, "1");
                co_await answerAndClose(std::move(busy), parser.get().method_string(),
                                        parser.get().target(), started);
                co_return;
            }
        }
        const BodyReservation reservation{server_, bodyBytes};

        if (!ec && parser.get()[http::field::expect] == "100-continue" && !parser.is_done()) {
            http::response<http::empty_body> proceed{http::status::continue_, 11};
            co_await http::async_write(stream_, proceed, redirect_error(use_awaitable, ec));
        }
        if (!ec && !parser.is_done()) {
            stream_.expires_after(limits.readTimeout);
            co_await http::async_read(stream_, buffer_, parser, redirect_error(use_awaitable, ec));
        }

        if (ec) {
            if (isQuietDisconnect(ec))
                break;
            http::status status = http::status::bad_request;
            std::string message = "Malformed HTTP request: " + ec.message() + ".";
            if (ec == http::error::body_limit) {
                status = http::status::payload_too_large;
                message = "Request body is larger than " + std::to_string(limits.maxBodyBytes) +
                          " bytes.";
            } else if (ec == http::error::header_limit || ec == http::error::buffer_overflow) {
                status = http::status::request_header_fields_too_large;
                message = "Request header is larger than " + std::to_string(limits.maxHeaderBytes) +
                          " bytes.";
            }
            Request stub{http::verb::unknown, "/", 11};
            co_await answerAndClose(server_.errors_(stub, status, message), "-", "-", started);
            co_return;
        }

        Request request = parser.release();
        request.set(peerHeader, peer_);
        const std::string method(request.method_string());
        const std::string target(request.target());

        Reply reply;
        if (!server_.hosts_.allows(request[http::field::host], request.version())) {
            reply = server_.errors_(request, http::status::misdirected_request,
                                    request[http::field::host].empty()
                                        ? "A Host header is required."
                                        : "This server does not answer for that host name.");
        } else if (!acceptableTarget(target, limits.maxTargetBytes)) {
            reply = server_.errors_(request, http::status::bad_request,
                                    "Request target is not an acceptable path.");
        } else {
            try {
                asio::thread_pool &pool = server_.slowLane_ && server_.isSlow_(request)
                                              ? *server_.slowLane_
                                              : server_.workers_;
                reply = co_await asio::co_spawn(
                    pool,
                    [&]() -> awaitable<Reply> {
                        // Work still queued when the server stops is answered, not done: a
                        // stop must not wait for a queue of password hashes.
                        if (server_.stopping_.load())
                            co_return server_.errors_(request, http::status::service_unavailable,
                                                      "The server is stopping.");
                        co_return server_.handler_.handle(request);
                    },
                    use_awaitable);
            } catch (const std::exception &error) {
                server_.log_.message(server_.service_,
                                     std::string("handler failed: ") + error.what());
                reply = server_.errors_(request, http::status::internal_server_error,
                                        "Internal server error.");
            }
        }
        if (auto *streamed = std::get_if<StreamingResponse>(&reply)) {
            if (server_.clients_.openStream(peer_)) {
                co_await streamBody(std::move(*streamed), method, target, started);
                server_.clients_.closeStream(peer_);
                break;
            }
            streamed->body->close();
            reply = server_.errors_(request, http::status::too_many_requests,
                                    "Too many streams are open from this address.");
        }
        Response response = std::move(std::get<Response>(reply));

        const bool keepAlive = request.keep_alive() && response.keep_alive() && !stopping_ &&
                               served + 1 < limits.maxRequestsPerConnection &&
                               !server_.stopping_.load();
        response.keep_alive(keepAlive);
        response.prepare_payload();
        stream_.expires_after(limits.writeTimeout);
        co_await http::async_write(stream_, response, redirect_error(use_awaitable, ec));
        log(method, target, response, started);
        if (ec || !keepAlive)
            break;
    }
    beast::error_code ignored;
    stream_.socket().shutdown(tcp::socket::shutdown_send, ignored);
    stream_.socket().close(ignored);
}

awaitable<void> HttpServer::Session::answerAndClose(Response response, std::string_view method,
                                                    std::string_view target,
                                                    std::chrono::steady_clock::time_point started)
{
    response.keep_alive(false);
    response.prepare_payload();
    beast::error_code ec;
    stream_.expires_after(server_.limits_.writeTimeout);
    co_await http::async_write(stream_, response, redirect_error(use_awaitable, ec));
    log(method, target, response, started);
    co_await drainAndClose();
}

// Closing a socket with unread input makes the kernel send a reset, which can destroy the
// error answer before the client reads it. Read what the client is still sending for a
// short, bounded while first.
awaitable<void> HttpServer::Session::drainAndClose()
{
    beast::error_code ec;
    stream_.socket().shutdown(tcp::socket::shutdown_send, ec);
    std::vector<char> sink(64 * 1024);
    std::size_t drained = 0;
    stream_.expires_after(std::chrono::seconds(1));
    while (!ec && drained < 16 * 1024 * 1024) {
        drained +=
            co_await stream_.async_read_some(asio::buffer(sink), redirect_error(use_awaitable, ec));
    }
    stream_.socket().close(ec);
}

// The head goes out at once; the body follows as the stream yields it. The body ends with the
// connection (no length, no chunking), which every SSE client expects.
awaitable<void> HttpServer::Session::streamBody(StreamingResponse reply, std::string_view method,
                                                std::string_view target,
                                                std::chrono::steady_clock::time_point started)
{
    const std::shared_ptr<ResponseStream> body = std::move(reply.body);
    // Events are small and each should leave at once, not wait for the previous one's ACK.
    beast::error_code ignored;
    stream_.socket().set_option(tcp::no_delay(true), ignored);
    // The kernel would grow a stream's send buffer to megabytes for a client that reads
    // nothing, memory no budget of ours counts and copying that takes the network threads'
    // time. A fixed, modest buffer keeps what waits for a client in the stream's own queue.
    stream_.socket().set_option(asio::socket_base::send_buffer_size(streamSendBufferBytes),
                                ignored);
    Response &head = reply.head;
    head.keep_alive(false);
    head.erase(http::field::content_length);
    head.body().clear();
    beast::error_code ec;
    {
        http::response_serializer<http::string_body> serializer{head};
        stream_.expires_after(server_.limits_.writeTimeout);
        co_await http::async_write_header(stream_, serializer, redirect_error(use_awaitable, ec));
    }
    log(method, target, head, started);
    if (ec) {
        body->close();
        co_return;
    }

    asio::steady_timer wake{stream_.get_executor()};
    streamWake_ = &wake;
    body->start(
        [weak = weak_from_this()] {
            if (auto session = weak.lock())
                asio::post(session->executor(), [session] { session->wakeStream(); });
        },
        [weak = weak_from_this()] {
            if (auto session = weak.lock())
                asio::post(session->executor(), [session] { session->abortStream(); });
        });
    asio::co_spawn(executor(), watchPeer(shared_from_this()), asio::detached);

    auto lastWrite = std::chrono::steady_clock::now();
    std::vector<asio::const_buffer> buffers;
    const auto send = [&](const auto &sequence) -> awaitable<bool> {
        stream_.expires_after(server_.limits_.writeTimeout);
        co_await asio::async_write(stream_, sequence, redirect_error(use_awaitable, ec));
        lastWrite = std::chrono::steady_clock::now();
        co_return !ec;
    };
    while (!stopping_ && !peerGone_) {
        streamReady_ = false;
        ResponseStream::Chunk chunk = body->next();
        if (!chunk.pieces.empty()) {
            buffers.clear();
            for (const auto &piece : chunk.pieces)
                buffers.push_back(asio::buffer(*piece));
            if (!co_await send(buffers))
                break;
        }
        if (chunk.last)
            break;
        if (streamReady_ || !chunk.pieces.empty())
            continue;
        const auto idleAt = lastWrite + body->idleTimeout();
        if (std::chrono::steady_clock::now() >= idleAt) {
            const std::string idle = body->idle();
            if (idle.empty())
                lastWrite = std::chrono::steady_clock::now();
            else if (!co_await send(asio::buffer(idle)))
                break;
            continue;
        }
        wake.expires_at(idleAt);
        co_await wake.async_wait(redirect_error(use_awaitable, ec));
    }
    streamWake_ = nullptr;
    body->close();
}

void HttpServer::Session::abortStream()
{
    peerGone_ = true;
    if (streamWake_)
        streamWake_->cancel();
    stream_.cancel();
}

void HttpServer::Session::wakeStream()
{
    streamReady_ = true;
    if (streamWake_)
        streamWake_->cancel();
}

// A streaming client sends nothing more; its reads end when it goes away, which a stream that
// only writes now and then would otherwise notice late.
awaitable<void> HttpServer::Session::watchPeer(std::shared_ptr<Session> self)
{
    std::array<char, 512> sink;
    beast::error_code ec;
    while (!ec)
        co_await self->stream_.socket().async_read_some(asio::buffer(sink),
                                                        redirect_error(use_awaitable, ec));
    self->peerGone_ = true;
    if (self->streamWake_)
        self->streamWake_->cancel();
}

void HttpServer::Session::log(std::string_view method, std::string_view target,
                              const Response &response,
                              std::chrono::steady_clock::time_point started)
{
    server_.log_.write({
        server_.service_,
        remote_,
        method,
        target,
        response.result_int(),
        response.body().size(),
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() -
                                                              started),
    });
}

HttpServer::HttpServer(asio::io_context &io, asio::thread_pool &workers, std::string service,
                       Handler handler, ErrorResponder errors, AccessLog &log, ServerLimits limits)
    : HttpServer(io, workers, std::move(service),
                 StreamingHandler{[handler = std::move(handler)](const Request &request) -> Reply {
                     return handler(request);
                 }},
                 std::move(errors), log, limits)
{}

HttpServer::HttpServer(asio::io_context &io, asio::thread_pool &workers, std::string service,
                       StreamingHandler handler, ErrorResponder errors, AccessLog &log,
                       ServerLimits limits)
    : io_(io), workers_(workers), service_(std::move(service)), handler_(std::move(handler)),
      errors_(std::move(errors)), log_(log), limits_(std::move(limits)),
      acceptor_(asio::make_strand(io)),
      clients_(
          {limits_.maxConnections, limits_.maxConnectionsPerAddress, limits_.maxStreamsPerAddress})
{}

HttpServer::~HttpServer() = default;

tcp::endpoint HttpServer::listen(const std::string &host, unsigned short port)
{
    const tcp::endpoint endpoint{asio::ip::make_address(host), port};
    acceptor_.open(endpoint.protocol());
    acceptor_.set_option(asio::socket_base::reuse_address(true));
    acceptor_.bind(endpoint);
    acceptor_.listen(asio::socket_base::max_listen_connections);
    hosts_ = HostCheck(host, limits_.publicHosts);
    return acceptor_.local_endpoint();
}

void HttpServer::start()
{
    asio::co_spawn(acceptor_.get_executor(), acceptLoop(), asio::detached);
}

awaitable<void> HttpServer::acceptLoop()
{
    asio::steady_timer backoff{acceptor_.get_executor()};
    while (!stopping_) {
        tcp::socket socket{asio::make_strand(io_)};
        beast::error_code ec;
        co_await acceptor_.async_accept(socket, redirect_error(use_awaitable, ec));
        if (ec == asio::error::operation_aborted || stopping_)
            break;
        if (ec) {
            // Typically out of file descriptors: pause instead of spinning.
            log_.message(service_, "accept failed: " + ec.message());
            backoff.expires_after(std::chrono::milliseconds(100));
            co_await backoff.async_wait(redirect_error(use_awaitable, ec));
            continue;
        }
        auto executor = socket.get_executor();
        auto session = std::make_shared<Session>(*this, std::move(socket));
        if (!admit(*session))
            continue; // the socket closes with the session
        asio::co_spawn(
            executor,
            [this, session]() -> awaitable<void> {
                try {
                    co_await session->run();
                } catch (const std::exception &) {
                    // The connection is gone either way; nothing else depends on it.
                }
                forget(session.get());
            },
            asio::detached);
    }
}

bool HttpServer::admit(Session &session)
{
    const ClientBook::Admission admission = clients_.admit(session.address());
    if (!admission.admitted)
        return false;
    std::shared_ptr<Session> evicted;
    {
        const std::lock_guard lock(sessionsMutex_);
        sessions_.emplace(&session, session.weak_from_this());
        if (const auto found =
                sessions_.find(static_cast<Session *>(const_cast<void *>(admission.evicted)));
            found != sessions_.end())
            evicted = found->second.lock();
    }
    if (evicted)
        asio::post(evicted->executor(), [evicted] { evicted->evict(); });
    return true;
}

void HttpServer::forget(Session *session)
{
    {
        const std::lock_guard lock(sessionsMutex_);
        if (sessions_.erase(session) == 0)
            return;
    }
    clients_.leave(session, session->address());
}

bool HttpServer::reserveBody(std::size_t bytes)
{
    std::size_t used = bufferedBodyBytes_.load();
    do {
        if (used + bytes > limits_.maxBufferedBodyBytes)
            return false;
    } while (!bufferedBodyBytes_.compare_exchange_weak(used, used + bytes));
    return true;
}

void HttpServer::releaseBody(std::size_t bytes)
{
    bufferedBodyBytes_ -= bytes;
}

std::size_t HttpServer::openConnections() const
{
    const std::lock_guard lock(sessionsMutex_);
    return sessions_.size();
}

void HttpServer::stop()
{
    if (stopping_.exchange(true))
        return;
    asio::post(acceptor_.get_executor(), [this] {
        beast::error_code ignored;
        acceptor_.close(ignored);
    });
    std::vector<std::weak_ptr<Session>> snapshot;
    {
        const std::lock_guard lock(sessionsMutex_);
        for (const auto &entry : sessions_)
            snapshot.push_back(entry.second);
    }
    for (const auto &weak : snapshot) {
        if (auto session = weak.lock()) {
            asio::post(session->executor(), [session] { session->shutdown(); });
        }
    }
}

} // namespace tailwise::net
