#include "PushService.h"

#include "Uuid.h"
#include "backend/Credentials.h"
#include "backend/Fields.h"
#include "http/Json.h"
#include "http/Responses.h"
#include "http/Router.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/trim.hpp>

#include <charconv>

namespace tailwise::push {
namespace {

namespace http = net::http;
using backend::BadRequest;
using http::status;
using http::verb;
using net::OrderedJson;

constexpr std::string_view playersPath = "/api/v1/players";
constexpr std::string_view notificationsPath = "/api/v1/notifications";
constexpr std::string_view streamSuffix = "/notifications";
constexpr std::size_t maxIdentifierBytes = 1024;
constexpr std::int64_t maxDeviceType = 255;

net::Response jsonAnswer(const net::Request &request, status code, const OrderedJson &body)
{
    return net::makeResponse(request, code, body.dump(), "application/json; charset=utf-8");
}

void requireJsonBody(const net::Request &request)
{
    const std::string type =
        boost::algorithm::to_lower_copy(std::string(request[http::field::content_type]));
    const std::string_view essence = std::string_view(type).substr(0, type.find(';'));
    if (boost::algorithm::trim_copy(std::string(essence)) != "application/json")
        throw BadRequest("Send the body as JSON, with Content-Type: application/json.",
                         status::unsupported_media_type);
}

std::string canonicalPlayerId(std::string_view id)
{
    const auto uuid = canonicalUuid(id);
    if (!uuid)
        throw BadRequest("The player id \"" + net::printable(id) + "\" is not a valid UUID.");
    return *uuid;
}

const OrderedJson *member(const OrderedJson &body, const char *key)
{
    const auto found = body.find(key);
    return found == body.end() || found->is_null() ? nullptr : &*found;
}

std::optional<std::int64_t> wholeNumber(const OrderedJson &body, const char *key, std::int64_t min,
                                        std::int64_t max)
{
    const OrderedJson *value = member(body, key);
    if (!value)
        return std::nullopt;
    const bool fits = value->is_number_unsigned()
                          ? value->get<std::uint64_t>() <= static_cast<std::uint64_t>(max)
                          : value->is_number_integer() && value->get<std::int64_t>() >= min &&
                                value->get<std::int64_t>() <= max;
    if (!fits)
        throw BadRequest(std::string(key) + " must be a whole number from " + std::to_string(min) +
                         " to " + std::to_string(max) + ".");
    return value->get<std::int64_t>();
}

// The fields of a player that a registration or an update may set. The hosted service takes
// many more (language, timezone, tags, ...); they are accepted and not kept.
PlayerFields playerFields(const OrderedJson &body)
{
    PlayerFields fields;
    fields.deviceType = wholeNumber(body, "device_type", 0, maxDeviceType);
    fields.badge = wholeNumber(body, "badge_count", 0, maxBadge);
    // 1 is subscribed; the SDKs send -2 when the user unsubscribed, and other values at or
    // below 0 when the device cannot show notifications.
    if (const auto types = wholeNumber(body, "notification_types", -99, 99))
        fields.subscribed = *types > 0;
    if (const OrderedJson *identifier = member(body, "identifier")) {
        if (!identifier->is_string() || identifier->get_ref<const std::string &>().empty() ||
            identifier->get_ref<const std::string &>().size() > maxIdentifierBytes)
            throw BadRequest("identifier must be a text of 1 to " +
                             std::to_string(maxIdentifierBytes) + " bytes.");
        fields.identifier = identifier->get<std::string>();
    }
    return fields;
}

bool wantsEventStream(const net::Request &request)
{
    return request[http::field::accept].find("text/event-stream") != std::string_view::npos;
}

// The Last-Event-ID a reconnecting client sends: the id of the last event it received.
std::optional<std::int64_t> lastEventId(const net::Request &request)
{
    const auto header = request.find("Last-Event-ID");
    if (header == request.end())
        return std::nullopt;
    const std::string_view text = header->value();
    std::int64_t id = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), id);
    if (text.empty() || problem != std::errc() || end != text.data() + text.size() || id < 0)
        throw BadRequest("Last-Event-ID must be the id of an event this stream sent.");
    return id;
}

} // namespace

PushService::PushService(PushOptions options, net::AccessLog &log)
    : options_(std::move(options)), log_(log), store_(options_.dir, options_.maxQueuedPerPlayer),
      streams_(std::make_shared<DeviceStreams>(
          StreamLimits{options_.maxQueuedPerPlayer, options_.maxStreamsPerPlayer,
                       options_.maxStreamBytes, options_.keepAlive},
          [this](const std::string &playerId, std::int64_t seq) {
              store_.delivered(playerId, seq);
          }))
{}

net::Response PushService::error(const net::Request &request, status code,
                                 const std::string &message)
{
    return jsonAnswer(request, code, {{"errors", {message}}});
}

net::Reply PushService::handle(const net::Request &request)
{
    try {
        return answer(request);
    } catch (const BadRequest &refusal) {
        return error(request, refusal.status(), refusal.what());
    }
}

net::Reply PushService::answer(const net::Request &request)
{
    const std::string_view path = net::targetPath(request.target());
    const auto only = [&](verb method, auto &&serve) -> net::Reply {
        if (request.method() != method)
            return error(request, status::method_not_allowed,
                         "Method " + net::printable(request.method_string()) +
                             " is not allowed here.");
        return serve();
    };
    if (path == playersPath)
        return only(verb::post, [&] { return createPlayer(request); });
    if (path == notificationsPath)
        return only(verb::post, [&] { return createNotification(request); });
    const std::string playerPrefix = std::string(playersPath) + "/";
    if (path.starts_with(playerPrefix)) {
        std::string_view id = path.substr(playerPrefix.size());
        if (id.ends_with(streamSuffix)) {
            id.remove_suffix(streamSuffix.size());
            return only(verb::get, [&] { return openStream(request, id); });
        }
        return only(verb::put, [&] { return updatePlayer(request, id); });
    }
    return error(request, status::not_found, "Unknown endpoint: " + net::printable(path) + ".");
}

void PushService::checkAppId(const std::string &appId) const
{
    if (canonicalUuid(appId) != options_.appId)
        throw BadRequest("app_id \"" + net::printable(appId) +
                         "\" is not an app of this relay. Check your app_id.");
}

void PushService::checkRestKey(const net::Request &request) const
{
    if (!options_.restKey)
        return;
    const std::string_view header = request[http::field::authorization];
    const auto space = header.find(' ');
    const std::string scheme =
        boost::algorithm::to_lower_copy(std::string(header.substr(0, space)));
    const std::string_view key =
        space == std::string_view::npos ? std::string_view() : header.substr(space + 1);
    // Compared by digest, so the time taken says nothing about the key.
    if ((scheme != "basic" && scheme != "key") ||
        backend::tokenDigest(key) != backend::tokenDigest(*options_.restKey))
        throw BadRequest("Please include a case-sensitive header of Authorization: Basic "
                         "<YOUR-REST-API-KEY-HERE> with a valid REST API key.",
                         status::unauthorized);
}

net::Response PushService::createPlayer(const net::Request &request)
{
    requireJsonBody(request);
    const OrderedJson body = parseObject(request.body());
    checkAppId(appIdOf(body));
    const PlayerFields fields = playerFields(body);
    if (!fields.deviceType)
        throw BadRequest("device_type is required (0 for iOS, 1 for Android, ...).");
    return jsonAnswer(request, status::ok,
                      {{"success", true}, {"id", store_.registerPlayer(fields)}});
}

net::Response PushService::updatePlayer(const net::Request &request, std::string_view id)
{
    const std::string playerId = canonicalPlayerId(id);
    requireJsonBody(request);
    const OrderedJson body = parseObject(request.body());
    if (member(body, "app_id"))
        checkAppId(appIdOf(body));
    PlayerFields fields = playerFields(body);
    // A player's identifier is what finds it again at registration; it does not move.
    fields.identifier.reset();
    if (!store_.updatePlayer(playerId, fields))
        throw BadRequest("No player with this id found.", status::not_found);
    return jsonAnswer(request, status::ok, {{"success", true}});
}

net::Response PushService::createNotification(const net::Request &request)
{
    checkRestKey(request);
    requireJsonBody(request);
    const NotificationRequest notification = parseNotificationRequest(
        parseObject(request.body()), {options_.maxPlayerIds, options_.maxPayloadBytes});
    checkAppId(notification.appId);
    const std::string id = newUuid();
    const NotificationOutcome outcome = store_.addNotification(
        id, notification.playerIds, notification.badge, eventParts(notification, id),
        [this](std::int64_t seq, const EventParts &parts, const std::vector<Recipient> &to) {
            streams_->publish(seq, parts, to);
        });
    for (const auto &[player, dropped] : outcome.dropped)
        log_.message("push", "player " + player + " keeps at most " +
                                 std::to_string(options_.maxQueuedPerPlayer) +
                                 " notifications: dropped its " + std::to_string(dropped) +
                                 " oldest undelivered");
    if (!outcome.seq && outcome.unknown.empty())
        return jsonAnswer(request, status::ok,
                          {{"id", ""},
                           {"recipients", 0},
                           {"errors", {"All included players are not subscribed"}}});
    OrderedJson answer = {{"id", outcome.seq ? id : ""}, {"recipients", outcome.recipients}};
    if (!outcome.unknown.empty())
        answer["errors"] = {{"invalid_player_ids", outcome.unknown}};
    return jsonAnswer(request, status::ok, answer);
}

net::Reply PushService::openStream(const net::Request &request, std::string_view id)
{
    const std::string playerId = canonicalPlayerId(id);
    if (!wantsEventStream(request))
        throw BadRequest("This is an event stream: ask for it with Accept: text/event-stream.",
                         status::not_acceptable);
    const std::optional<std::int64_t> after = lastEventId(request);
    // Registered before the backlog is read, so nothing committed in between is missed.
    const std::shared_ptr<DeviceStream> stream = streams_->open(playerId);
    if (!stream)
        throw BadRequest("This player has " + std::to_string(options_.maxStreamsPerPlayer) +
                             " streams open already.",
                         status::too_many_requests);
    try {
        const auto queued = store_.queued(playerId, after);
        if (!queued)
            throw BadRequest("No player with this id found.", status::not_found);
        std::vector<std::pair<std::int64_t, net::QueuedEvent>> backlog;
        for (const QueuedNotification &waiting : *queued)
            backlog.emplace_back(
                waiting.seq, streams_->event(EventText(waiting.seq, waiting.parts), waiting.badge));
        stream->begin(std::move(backlog));
    } catch (...) {
        stream->close();
        throw;
    }
    net::StreamingResponse reply{net::Response{status::ok, request.version()}, stream};
    reply.head.set(http::field::server, "tailwise-server");
    reply.head.set(http::field::content_type, "text/event-stream");
    reply.head.set(http::field::cache_control, "no-cache");
    return reply;
}

} // namespace tailwise::push
