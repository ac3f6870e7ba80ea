// Streams of server-sent events, read by hand from a raw socket.

#include "RealtimeSupport.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

using namespace tailwise;
using namespace tailwise::test;
using net::http::verb;
using realtime::Json;
using Clock = std::chrono::steady_clock;

namespace {

struct Event
{
    std::string name;
    Json data;
    bool operator==(const Event &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Event &event)
{
    return out << event.name << ' ' << event.data.dump();
}

// A GET with Accept: text/event-stream on a plain socket; events parsed by hand.
class RawStream
{
public:
    // A small receive buffer makes a slow reader: the server's writes back up soon.
    RawStream(net::tcp::endpoint server, const std::string &target, int receiveBuffer = 0)
    {
        fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (receiveBuffer)
            ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(server.port());
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
            throw std::runtime_error("connect failed");
        const std::string request =
            "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\nAccept: text/event-stream\r\n\r\n";
        if (::send(fd_, request.data(), request.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(request.size()))
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

    // The next event; nullopt when none arrives in time or the stream ended.
    std::optional<Event> next(std::chrono::milliseconds timeout = 5s)
    {
        while (buffer_.find("\n\n") == std::string::npos)
            if (!fill(timeout))
                return std::nullopt;
        const auto end = buffer_.find("\n\n");
        const std::string block = buffer_.substr(0, end);
        buffer_.erase(0, end + 2);
        Event event;
        std::string data;
        std::size_t at = 0;
        while (at < block.size()) {
            const auto eol = std::min(block.find('\n', at), block.size());
            const std::string line = block.substr(at, eol - at);
            at = eol + 1;
            if (line.starts_with("event: "))
                event.name = line.substr(7);
            else if (line.starts_with("data: "))
                data += line.substr(6);
        }
        event.data = Json::parse(data);
        return event;
    }

    bool endedByServer(std::chrono::milliseconds timeout)
    {
        const auto deadline = Clock::now() + timeout;
        while (Clock::now() < deadline)
            if (!fill(
                    std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now())))
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

Event put(const char *path, const char *data)
{
    return {"put", {{"path", path}, {"data", Json::parse(data)}}};
}
Event patch(const char *path, const char *data)
{
    return {"patch", {{"path", path}, {"data", Json::parse(data)}}};
}

// Opens a stream and checks its opening: the head, `connected`, the first `put`.
std::unique_ptr<RawStream> listen(RealtimeStack &stack, const std::string &target,
                                  const char *first, int receiveBuffer = 0)
{
    auto stream = std::make_unique<RawStream>(stack.endpoint(), target, receiveBuffer);
    const std::string head = stream->head();
    EXPECT_TRUE(head.starts_with("HTTP/1.1 200")) << head;
    EXPECT_NE(head.find("Content-Type: text/event-stream"), std::string::npos) << head;
    const auto connected = stream->next();
    EXPECT_TRUE(connected && connected->name == "connected" && connected->data["id"].is_string() &&
                !connected->data["id"].get<std::string>().empty());
    EXPECT_EQ(stream->next(), put("/", first));
    return stream;
}

TEST(RealtimeStream, ListenersHearChangesBelowAndAboveThem)
{
    RealtimeStack stack;
    stack.call(verb::put, "/chats/c1.json", R"({"m1": {"text": "hi"}})");
    auto chat = listen(stack, "/chats/c1.json", R"({"m1": {"text": "hi"}})");
    auto empty = listen(stack, "/nobody.json", "null");
    auto message = listen(stack, "/chats/c1/m1.json", R"({"text": "hi"})");

    // Below the listened location.
    stack.call(verb::put, "/chats/c1/m2.json", R"({"text": "yo"})");
    EXPECT_EQ(chat->next(), put("/m2", R"({"text": "yo"})"));
    // Children of the listened location, as one patch.
    stack.call(verb::patch, "/chats/c1.json", R"({"m1": null, "m3": [1]})");
    EXPECT_EQ(chat->next(), patch("/", R"({"m1": null, "m3": [1]})"));
    EXPECT_EQ(message->next(), put("/", "null"));
    // Deep keys of a multi-location update arrive as puts.
    stack.call(verb::patch, "/.json", R"({"chats/c1/m2/text": "edited", "elsewhere": 1})");
    EXPECT_EQ(chat->next(), put("/m2/text", R"("edited")"));
    // Above it: the listener's whole value.
    stack.call(verb::put, "/chats.json", R"({"c1": {"m1": {"text": "back"}}})");
    EXPECT_EQ(chat->next(), put("/", R"({"m1": {"text": "back"}})"));
    EXPECT_EQ(message->next(), put("/", R"({"text": "back"})"));
    stack.call(verb::delete_, "/.json");
    EXPECT_EQ(chat->next(), put("/", "null"));
    EXPECT_EQ(message->next(), put("/", "null"));

    // Nothing concerned the empty location except the root's removal.
    EXPECT_EQ(empty->next(), put("/", "null"));
    EXPECT_EQ(empty->next(200ms), std::nullopt);
}

TEST(RealtimeStream, KeepAlivesInSilenceAndClosedStreamsAreForgotten)
{
    RealtimeStack stack({.keepAlive = 150ms});
    {
        auto stream = listen(stack, "/a.json", "null");
        const auto started = Clock::now();
        EXPECT_EQ(stream->next(2s), (Event{"keep-alive", nullptr}));
        EXPECT_GE(Clock::now() - started, 100ms);
        EXPECT_EQ(stack.database().listeners(), 1u);
    }
    // The server notices the client went away without having to write to it.
    const auto deadline = Clock::now() + 2s;
    while (stack.database().listeners() != 0 && Clock::now() < deadline)
        std::this_thread::sleep_for(10ms);
    EXPECT_EQ(stack.database().listeners(), 0u);
}

TEST(RealtimeStream, ASlowListenerIsCancelledWithoutHoldingUpWriters)
{
    RealtimeStack stack({.maxQueuedBytes = 256 * 1024});
    auto slow = listen(stack, "/feed.json", "null", 4096);
    auto fast = listen(stack, "/feed.json", "null");
    const std::string blob = '"' + std::string(32 * 1024, 'b') + '"';
    const auto started = Clock::now();
    int seen = 0;
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(stack.call(verb::put, "/feed/" + std::to_string(i) + ".json", blob).status, 200u);
        // The fast one keeps up.
        const auto event = fast->next();
        ASSERT_TRUE(event) << "no event for write " << i;
        ASSERT_NE(event->name, "cancel") << "at write " << i << ": " << event->data;
        seen += event->name == "put";
    }
    EXPECT_EQ(seen, 200);
    EXPECT_LT(Clock::now() - started, 20s);
    // The slow one gets what fit, then a cancel, then the end of the stream.
    std::optional<Event> event;
    int puts = 0;
    while ((event = slow->next()) && event->name == "put")
        ++puts;
    ASSERT_TRUE(event);
    EXPECT_EQ(event->name, "cancel");
    EXPECT_LT(puts, 200);
    EXPECT_TRUE(slow->endedByServer(2s));
}

TEST(RealtimeStream, StopEndsOpenStreamsPromptly)
{
    RealtimeStack stack;
    auto stream = listen(stack, "/a.json", "null");
    const auto started = Clock::now();
    stack.stop();
    EXPECT_LT(Clock::now() - started, 2s);
    EXPECT_TRUE(stream->endedByServer(1s));
}

} // namespace
