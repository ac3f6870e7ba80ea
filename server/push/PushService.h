#pragma once

#include "DeviceStreams.h"
#include "NotificationRequest.h"
#include "PushStore.h"
#include "http/AccessLog.h"
#include "http/HttpServer.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tailwise::push {

// The id the relay answers for unless told otherwise; the app's deployment defaults to it too.
inline constexpr std::string_view defaultAppId = "d06f00d0-7a11-4e15-9a5e-000000000001";

struct PushOptions
{
    std::filesystem::path dir;
    std::string appId = std::string(defaultAppId);
    // When set, creating a notification needs `Authorization: Basic <key>` or `Key <key>`.
    std::optional<std::string> restKey;
    std::size_t maxPlayerIds = 2000;
    std::size_t maxPayloadBytes = 16 * 1024;
    std::size_t maxQueuedPerPlayer = 100;
    std::size_t maxStreamsPerPlayer = 4;
    std::size_t maxStreamBytes = 64 * 1024 * 1024;
    std::chrono::milliseconds keepAlive{std::chrono::seconds(30)};
};

// The push relay: the part of the OneSignal REST API (v1) the app uses, and the event stream
// by which a running app receives its notifications.
//
//   POST /api/v1/players                         register a device (or update it by identifier)
//   PUT  /api/v1/players/<id>                    badge_count, notification_types, device_type
//   POST /api/v1/notifications                   send to include_player_ids
//   GET  /api/v1/players/<id>/notifications      the device's notifications, as server-sent
//                                                events (Accept: text/event-stream)
//
// Every refusal is {"errors": ["..."]}. A plain function of the request.
class PushService
{
public:
    PushService(PushOptions options, net::AccessLog &log);

    net::Reply handle(const net::Request &request);
    static net::Response error(const net::Request &request, net::http::status status,
                               const std::string &message);

    std::size_t openStreams() const { return streams_->size(); }

private:
    net::Reply answer(const net::Request &request);
    net::Response createPlayer(const net::Request &request);
    net::Response updatePlayer(const net::Request &request, std::string_view id);
    net::Response createNotification(const net::Request &request);
    net::Reply openStream(const net::Request &request, std::string_view id);
    void checkAppId(const std::string &appId) const;
    void checkRestKey(const net::Request &request) const;

    const PushOptions options_;
    net::AccessLog &log_;
    PushStore store_;
    std::shared_ptr<DeviceStreams> streams_;
};

} // namespace tailwise::push
