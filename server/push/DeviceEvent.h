#pragma once

#include <cstdint>
#include <optional>
#include <string>

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

// A notification as one server-sent event, whose id is the notification's place in the
// relay's order (a reconnecting client sends it back as Last-Event-ID) and whose data is what
// a phone would hand the app:
//   {"aps": {"alert": {...}, "content-available": 1, "badge": n}, "custom": {...}}
// Built once per notification; each recipient's badge goes in between.
class EventText
{
public:
    EventText(std::int64_t seq, const EventParts &parts);

    std::string withBadge(std::int64_t badge) const;

private:
    std::string head_;
    std::string tail_;
};

} // namespace tailwise::push
