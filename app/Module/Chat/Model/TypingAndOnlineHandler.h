#pragma once

#include "Platform/DatabaseReference.h"

#include <optional>

// The clean-up a chat could ask for when the app ends: the user's typing flag back to false
// and, when it exists, the reading flag too. The app does not call it: at termination only
// presence is written, so flags left set stay set on the server.
class TypingAndOnlineHandler
{
public:
    static TypingAndOnlineHandler &shared();

    const std::optional<DatabaseReference> &lastTypingRef() const { return lastTypingRef_; }
    void setLastTypingRef(std::optional<DatabaseReference> ref) { lastTypingRef_ = std::move(ref); }
    const std::optional<DatabaseReference> &userOnlineRef() const { return userOnlineRef_; }
    void setUserOnlineRef(std::optional<DatabaseReference> ref) { userOnlineRef_ = std::move(ref); }
    const std::optional<DatabaseReference> &userLastReadMessageRef() const
    {
        return userLastReadMessageRef_;
    }
    void setUserLastReadMessageRef(std::optional<DatabaseReference> ref)
    {
        userLastReadMessageRef_ = std::move(ref);
    }

    // {"isTyping": false} at the typing flag held; then {"read_status": false} at the reading
    // flag held, only when the server has one there (a flag that was never set stays absent).
    void applicationIsTerminating() const;

private:
    TypingAndOnlineHandler() = default;

    std::optional<DatabaseReference> lastTypingRef_;
    std::optional<DatabaseReference> userOnlineRef_;
    std::optional<DatabaseReference> userLastReadMessageRef_;
};
