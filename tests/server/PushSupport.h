#pragma once

// The push relay served by a real stack on an ephemeral loopback port, and what its tests
// send it.

#include "RawStream.h"
#include "push/PushService.h"

#include <functional>

namespace tailwise::test {

inline const std::string pushAppId(push::defaultAppId);

// A create-notification request to `players` with an English text.
inline Json notification(const std::vector<std::string> &players,
                         const std::string &text = "Walkies?")
{
    return {{"app_id", pushAppId}, {"include_player_ids", players}, {"contents", {{"en", text}}}};
}

class PushStack : public StackUnderTest
{
public:
    explicit PushStack(std::function<void(StackConfig &)> configure = {})
        : StackUnderTest([configure](StackConfig &config) {
              config.pushPort = 0;
              if (configure)
                  configure(config);
          })
    {}

    net::tcp::endpoint endpoint() const { return *endpoints().push; }
    push::PushService &relay() { return *stack().push(); }

    HttpReply send(net::http::verb method, std::string_view target, std::string body,
                   Headers headers = {{"Content-Type", "application/json; charset=utf-8"}})
    {
        return StackUnderTest::send(endpoint(), method, target, std::move(body), headers);
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
        auto stream = std::make_unique<RawStream>(RawStream::Bytes{request + "\r\n"}, endpoint());
        const std::string head = stream->head();
        EXPECT_TRUE(head.starts_with(std::string("HTTP/1.1 ") + expectedStatus)) << head;
        return stream;
    }
};

} // namespace tailwise::test
