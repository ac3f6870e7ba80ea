#pragma once

// Streams of server-sent events, read by hand from a raw socket.

#include "RealtimeSupport.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <optional>

namespace tailwise::test {

using realtime::Json;

struct Event
{
    std::string name;
    Json data;
    std::string id = {}; // the `id:` line, when the stream sends one
    bool operator==(const Event &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const Event &event)
{
    return out << event.name << ' ' << event.data.dump();
}

// A GET with Accept: text/event-stream on a plain socket; events parsed by hand.
class RawStream
{
public:
    // A small receive buffer makes a slow reader: the server's writes back up soon.
    // `from` picks the local address (any of 127.0.0.0/8), so tests can be several clients.
    RawStream(net::tcp::endpoint server, const std::string &target, int receiveBuffer = 0,
              const char *from = nullptr)
        : RawStream(Bytes{"GET " + target +
                          " HTTP/1.1\r\nHost: 127.0.0.1\r\nAccept: text/event-stream\r\n\r\n"},
                    server, receiveBuffer, from)
    {}
    // Sends exactly these bytes, for requests no client would send.
    struct Bytes
    {
        std::string text;
    };
    RawStream(Bytes request, net::tcp::endpoint server, int receiveBuffer = 0,
              const char *from = nullptr)
    {
        fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (receiveBuffer)
            ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        if (from) {
            sockaddr_in local{};
            local.sin_family = AF_INET;
            ::inet_pton(AF_INET, from, &local.sin_addr);
            if (::bind(fd_, reinterpret_cast<sockaddr *>(&local), sizeof local) != 0)
                throw std::runtime_error("bind failed");
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(server.port());
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
            throw std::runtime_error("connect failed");
        if (::send(fd_, request.text.data(), request.text.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(request.text.size()))
            throw std::runtime_error("send failed");
    }
    ~RawStream() { close(); }
    void close()
    {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }
    // The response head, once.
    std::string head(std::chrono::milliseconds timeout = 5s)
    {
        while (buffer_.find("\r\n\r\n") == std::string::npos)
            if (!fill(timeout))
                return {};
        const auto end = buffer_.find("\r\n\r\n") + 4;
        std::string text = buffer_.substr(0, end);
        buffer_.erase(0, end);
        return text;
    }

    // The next event; nullopt when none arrives in time or the stream ended. Comments (such
    // as keep-alives sent as ": ...") are skipped.
    std::optional<Event> next(std::chrono::milliseconds timeout = 5s)
    {
        for (;;) {
            while (buffer_.find("\n\n") == std::string::npos)
                if (!fill(timeout))
                    return std::nullopt;
            const auto end = buffer_.find("\n\n");
            const std::string block = buffer_.substr(0, end);
            buffer_.erase(0, end + 2);
            Event event;
            std::optional<std::string> data;
            std::size_t at = 0;
            while (at < block.size()) {
                const auto eol = std::min(block.find('\n', at), block.size());
                const std::string line = block.substr(at, eol - at);
                at = eol + 1;
                if (line.starts_with("event: "))
                    event.name = line.substr(7);
                else if (line.starts_with("id: "))
                    event.id = line.substr(4);
                else if (line.starts_with("data: "))
                    data = data.value_or("") + line.substr(6);
            }
            if (!data)
                continue;
            event.data = Json::parse(*data);
            return event;
        }
    }

    bool endedByServer(std::chrono::milliseconds timeout)
    {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (std::chrono::steady_clock::now() < deadline)
            if (!fill(std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now())))
                return eof_;
        return false;
    }

private:
    bool fill(std::chrono::milliseconds timeout)
    {
        pollfd ready{fd_, POLLIN, 0};
        if (::poll(&ready, 1, static_cast<int>(timeout.count())) <= 0)
            return false;
        char chunk[4096];
        const ssize_t got = ::recv(fd_, chunk, sizeof chunk, 0);
        if (got <= 0) {
            eof_ = true;
            return false;
        }
        buffer_.append(chunk, static_cast<std::size_t>(got));
        return true;
    }

    int fd_ = -1;
    std::string buffer_;
    bool eof_ = false;
};

inline Event put(const char *path, const char *data)
{
    return {"put", {{"path", path}, {"data", Json::parse(data)}}};
}
inline Event patch(const char *path, const char *data)
{
    return {"patch", {{"path", path}, {"data", Json::parse(data)}}};
}

// Opens a stream and checks its opening: the head, `connected`, the first `put`.
inline std::unique_ptr<RawStream> listen(RealtimeStack &stack, const std::string &target,
                                         const char *first, int receiveBuffer = 0,
                                         std::string *connection = nullptr)
{
    auto stream = std::make_unique<RawStream>(stack.endpoint(), target, receiveBuffer);
    const std::string head = stream->head();
    EXPECT_TRUE(head.starts_with("HTTP/1.1 200")) << head;
    EXPECT_NE(head.find("Content-Type: text/event-stream"), std::string::npos) << head;
    const auto connected = stream->next();
    EXPECT_TRUE(connected && connected->name == "connected" && connected->data["id"].is_string() &&
                !connected->data["id"].get<std::string>().empty());
    if (connected && connection)
        *connection = connected->data["id"].get<std::string>();
    EXPECT_EQ(stream->next(), put("/", first));
    return stream;
}

inline HttpReply onDisconnect(RealtimeStack &stack, const std::string &connection,
                              const Json &operation)
{
    return stack.call(net::http::verb::post, "/.ondisconnect?conn=" + connection, operation.dump());
}

} // namespace tailwise::test
