#pragma once

// The push relay served by a real stack on an ephemeral loopback port, and what its tests
// send it.

#include "RawStream.h"
#include "push/PushService.h"

#include <fstream>
#include <functional>

namespace tailwise::test {

inline const std::string pushAppId(push::defaultAppId);

// A create-notification request to `players` with an English text.
inline Json notification(const std::vector<std::string> &players,
                         const std::string &text = "Walkies?")
{
    return {{"app_id", pushAppId}, {"include_player_ids", players}, {"contents", {{"en", text}}}};
}

class PushStack
{
public:
    explicit PushStack(std::function<void(StackConfig &)> configure = {})
        : configure_(std::move(configure))
    {
        start();
    }
    ~PushStack() { stop(); }

    void start()
    {
        StackConfig config;
        config.dataDir = dir_.path();
        config.backendPort = 0;
        config.pushPort = 0;
        config.threads = 2;
        log_.reset(std::fopen((dir_.path() / "server.log").c_str(), "a"));
        config.accessLog = log_.get();
        if (configure_)
            configure_(config);
        stack_ = std::make_unique<ServerStack>(std::move(config));
        endpoint_ = *stack_->start().push;
    }
    void stop()
    {
        stack_.reset();
        log_.reset();
    }

    net::tcp::endpoint endpoint() const { return endpoint_; }
    push::PushService &relay() { return *stack_->push(); }
    // What the server wrote to its log so far.
    std::string log()
    {
        std::fflush(log_.get());
        std::ifstream in(dir_.path() / "server.log");
        return {std::istreambuf_iterator<char>(in), {}};
    }

    HttpReply send(net::http::verb method, std::string_view target, std::string body,
                   Headers headers = {{"Content-Type", "application/json; charset=utf-8"}})
    {
        net::Request request{method, target, 11};
        for (const auto &[name, value] : headers)
            request.set(name, value);
        request.body() = std::move(body);
        return HttpClient(endpoint_).send(std::move(request));
    }
    HttpReply post(std::string_view target, const Json &body)
    {
        return send(net::http::verb::post, target, body.dump());
    }
    HttpReply notify(const Json &body) { return post("/api/v1/notifications", body); }

    // A new device's player id; the same again for the same identifier.
    std::string registerPlayer(const std::string &identifier = {})
    {
        Json body = {{"app_id", pushAppId}, {"device_type", 0}};
        if (!identifier.empty())
            body["identifier"] = identifier;
        const HttpReply reply = post("/api/v1/players", body);
        EXPECT_EQ(reply.status, 200u) << reply;
        return reply.json.value("id", "");
    }

    // The player's event stream, its head read; `lastEventId` as a reconnecting client sends.
    std::unique_ptr<RawStream> stream(const std::string &player,
                                      const std::string &lastEventId = {},
                                      const char *expectedStatus = "200")
    {
        std::string request = "GET /api/v1/players/" + player +
                              "/notifications HTTP/1.1\r\nHost: 127.0.0.1\r\n"
                              "Accept: text/event-stream\r\n";
        if (!lastEventId.empty())
            request += "Last-Event-ID: " + lastEventId + "\r\n";
        auto stream = std::make_unique<RawStream>(RawStream::Bytes{request + "\r\n"}, endpoint_);
        const std::string head = stream->head();
        EXPECT_TRUE(head.starts_with(std::string("HTTP/1.1 ") + expectedStatus)) << head;
        return stream;
    }

private:
    struct Closer
    {
        void operator()(std::FILE *file) const
        {
            if (file)
                std::fclose(file);
        }
    };

    std::function<void(StackConfig &)> configure_;
    TempDir dir_{"tailwise-push"};
    std::unique_ptr<std::FILE, Closer> log_;
    std::unique_ptr<ServerStack> stack_;
    net::tcp::endpoint endpoint_;
};

} // namespace tailwise::test
