#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tailwise::push {

// What every recipient of one notification is handed, stored once per notification: the
// phone's `aps` without the badge (which is each player's own) and the `custom` part.
struct EventParts
{
    // {"title": ..., "body": ...}, or none for a notification without texts.
    std::optional<std::string> alert;
    bool contentAvailable = false;
    // {"i": "<notification id>", "a": <data>}
    std::string custom;
};

// The JSON a phone would hand the app:
// {"aps": {"alert": {...}, "content-available": 1, "badge": n}, "custom": {...}}.
std::string eventData(const EventParts &parts, std::int64_t badge);

// One server-sent event; `seq` becomes its id, which a reconnecting client sends back as
// Last-Event-ID.
std::string sseText(std::int64_t seq, std::string_view data);

} // namespace tailwise::push
