#pragma once

#include "DeviceEvent.h"
#include "http/Json.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tailwise::push {

// What `ios_badgeType` and `ios_badgeCount` do to a player's badge; the result is never below
// 0 nor past maxBadge. The store does the arithmetic.
struct BadgeChange
{
    enum class Rule
    {
        none = 0,
        setTo = 1,
        increase = 2
    } rule = Rule::none;
    std::int64_t count = 0;
};

inline constexpr std::int64_t maxBadge = 2'147'483'647;

struct NotificationLimits
{
    std::size_t maxPlayerIds = 2000;
    // The texts and the data map together, as JSON.
    std::size_t maxPayloadBytes = 16 * 1024;
};

// A create-notification request, checked.
struct NotificationRequest
{
    std::string appId;
    // Canonical, each once, in the order given.
    std::vector<std::string> playerIds;
    std::optional<std::string> alert; // JSON {"title", "body"}
    bool contentAvailable = false;
    std::optional<std::string> data; // JSON object
    BadgeChange badge;
};

// The body of a request as a JSON object with its keys in the order sent (a notification's
// first language is the one written first). Throws backend::BadRequest.
net::OrderedJson parseObject(std::string_view body);

// The request's `app_id`; throws backend::BadRequest when it is missing or not a text.
std::string appIdOf(const net::OrderedJson &body);

// Throws backend::BadRequest (400) saying what is wrong.
NotificationRequest parseNotificationRequest(const net::OrderedJson &body,
                                             const NotificationLimits &limits);

EventParts eventParts(const NotificationRequest &request, const std::string &notificationId);

} // namespace tailwise::push
