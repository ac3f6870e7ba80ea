#pragma once

#include "../http/asio.h"
#include "Clock.h"
#include "Fields.h"
#include "UserStore.h"

#include <functional>

namespace tailwise::backend {

struct SignedIn
{
    std::int64_t userId;
    std::string tokenDigest;
};

// Resolves `Authorization: Bearer <token>` to the signed-in user. Every refusal throws
// BadRequest with 401.
class Sessions
{
public:
    Sessions(UserStore &users, const Clock &clock, SessionRules rules = {})
        : users_(users), clock_(clock), rules_(rules)
    {}

    SignedIn require(const net::Request &request) const;
    // The same, and checks that `claimedId` (the request's "user_id", or the id in its
    // address) names that same user; 403 otherwise.
    SignedIn requireAs(const net::Request &request, std::string_view claimedId) const;
    SignedIn require(const net::Request &request, const Fields &fields) const;
    // The user of a live session token; nothing once it has ended (logout, deactivation,
    // idleness) or for anything that is not a token.
    std::optional<std::int64_t> userOf(std::string_view token) const;

    const SessionRules &rules() const { return rules_; }

    // Told whenever sessions of a user have just ended (logout, deactivation, a password
    // change or reset), so that whatever serves those sessions elsewhere can let go of them
    // now rather than when it next looks. Set before the first request is served.
    using EndObserver = std::function<void(std::int64_t userId)>;
    void onEnded(EndObserver observer) { endObserver_ = std::move(observer); }
    // Called once the sessions' end is committed.
    void ended(std::int64_t userId) const
    {
        if (endObserver_)
            endObserver_(userId);
    }

private:
    UserStore &users_;
    const Clock &clock_;
    SessionRules rules_;
    EndObserver endObserver_;
};

} // namespace tailwise::backend
