#pragma once

#include "../http/asio.h"
#include "Clock.h"
#include "Credentials.h"
#include "Outbox.h"
#include "UserStore.h"

namespace tailwise::backend {

struct AccountRules
{
    int attemptsBeforeLock = 3;
    std::int64_t lockMs = 60'000;
    std::size_t minPasswordBytes = 6;
    std::size_t maxPasswordBytes = 128;
};

// Registration, sign-in, password reset and change, logout and deactivation.
class AccountService
{
public:
    AccountService(UserStore &users, Outbox &outbox, const PasswordHasher &hasher,
                   const Clock &clock, AccountRules rules = {});

    net::Response registerUser(const net::Request &request);
    net::Response login(const net::Request &request);
    net::Response forgotPassword(const net::Request &request);
    net::Response changePassword(const net::Request &request);
    net::Response logout(const net::Request &request);
    net::Response deactivate(const net::Request &request);

private:
    std::string checkedNewPassword(const std::string &password) const;
    // Starts a session and returns its token, or throws when the account may not sign in.
    std::string signIn(const UserRecord &user);

    UserStore &users_;
    Outbox &outbox_;
    const PasswordHasher &hasher_;
    const Clock &clock_;
    AccountRules rules_;
};

} // namespace tailwise::backend
