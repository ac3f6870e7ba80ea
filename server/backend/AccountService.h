#pragma once

#include "../http/asio.h"
#include "Auth.h"
#include "Clock.h"
#include "Credentials.h"
#include "IdentityProviders.h"
#include "Outbox.h"
#include "RateLimiter.h"
#include "UserStore.h"

namespace tailwise::backend {

struct AccountRules
{
    LockRules lock;
    std::size_t minPasswordBytes = 6;
    std::size_t maxPasswordBytes = 128;
    // How long a mailed password waits to be used.
    std::int64_t resetLifetimeMs = 24LL * 60 * 60 * 1000;
};

struct EndpointRateLimits
{
    RateLimit perAddress;
    RateLimit perAccount;
};

// Requests per client address and per account (e-mail address, or the signed-in user) on the
// endpoints that check or mail passwords. Far above what a person using the app does; they
// exist to make guessing and mail floods slow.
struct RateLimitPolicy
{
    static constexpr std::int64_t minute = 60'000;
    static constexpr std::int64_t hour = 60 * minute;

    bool enabled = true;
    EndpointRateLimits login{{60, minute}, {30, hour}};
    EndpointRateLimits registration{{60, minute}, {30, hour}};
    EndpointRateLimits forgotPassword{{20, hour}, {5, hour}};
    EndpointRateLimits changePassword{{30, minute}, {10, hour}};
    std::size_t maxKeys = 50'000; // per limit, so memory stays bounded
};

// Registration and social sign-in, sign-in, password reset and change, logout and
// deactivation.
class AccountService
{
public:
    AccountService(UserStore &users, const Sessions &sessions, Outbox &outbox,
                   const PasswordHasher &hasher, const IdentityProviders &identities,
                   const Clock &clock, const RateLimitPolicy &limits, AccountRules rules = {});

    net::Response registerUser(const net::Request &request);
    net::Response login(const net::Request &request);
    net::Response forgotPassword(const net::Request &request);
    net::Response changePassword(const net::Request &request);
    net::Response logout(const net::Request &request);
    net::Response deactivate(const net::Request &request);

private:
    struct Throttle
    {
        Throttle(const EndpointRateLimits &limits, std::size_t maxKeys)
            : perAddress(limits.perAddress, maxKeys), perAccount(limits.perAccount, maxKeys)
        {}
        RateLimiter perAddress;
        RateLimiter perAccount;
    };

    net::Response socialSignIn(const net::Request &request, const Fields &fields,
                               const std::string &registerType);
    // Throws 429 when the client address or the account has used up its requests.
    void throttle(Throttle &throttle, const net::Request &request, const std::string &account);
    std::string checkedNewPassword(const std::string &password) const;
    // Counts a password check before it runs; throws while the account is locked.
    Attempt reserveAttempt(std::int64_t userId, std::int64_t nowMs);
    [[noreturn]] void refuseWrongPassword(std::int64_t userId, const Attempt &attempt,
                                          const std::string &message);
    // What a password is checked against where the account has none: no password matches
    // it, and the check costs what a real one does.
    const std::string &unusableHash() const;
    // Stores a session for `token` inside the caller's transaction.
    void startSession(Connection &connection, std::int64_t userId, const std::string &token,
                      std::int64_t nowMs) const;

    UserStore &users_;
    const Sessions &sessions_;
    Outbox &outbox_;
    const PasswordHasher &hasher_;
    const IdentityProviders &identities_;
    const Clock &clock_;
    bool limited_;
    AccountRules rules_;
    Throttle loginLimits_, registrationLimits_, forgotLimits_, changeLimits_;
};

} // namespace tailwise::backend
