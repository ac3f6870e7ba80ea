#pragma once

#include "../http/Router.h"
#include "AccountService.h"

#include <filesystem>
#include <memory>

namespace tailwise::backend {

struct BackendConfig
{
    std::filesystem::path dataDir;
    PasswordCost passwordCost = PasswordCost::interactive();
    const Clock *clock = nullptr; // the system clock when null
};

// The app's REST backend: "/app/backend/app/users/<endpoint>" plus "/healthz".
class BackendService
{
public:
    static constexpr std::string_view basePath = "/app/backend/app/users/";

    explicit BackendService(const BackendConfig &config);

    net::Response handle(const net::Request &request) const;
    net::Response error(const net::Request &request, net::http::status status,
                        const std::string &message) const;

    UserStore &users() { return users_; }

private:
    using Endpoint = net::Response (AccountService::*)(const net::Request &);
    void addEndpoint(std::string_view word, Endpoint endpoint);

    SystemClock systemClock_;
    const Clock &clock_;
    UserStore users_;
    Outbox outbox_;
    PasswordHasher hasher_;
    AccountService accounts_;
    net::Router router_;
};

} // namespace tailwise::backend
