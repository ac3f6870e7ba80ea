#include "BackendService.h"

#include "Envelope.h"
#include "Fields.h"

#include "../http/Responses.h"

namespace tailwise::backend {

BackendService::BackendService(const BackendConfig &config)
    : clock_(config.clock ? *config.clock : systemClock_),
      users_((std::filesystem::create_directories(config.dataDir),
              (config.dataDir / "backend.sqlite3").string())),
      outbox_(config.dataDir / "outbox"), hasher_(config.passwordCost),
      accounts_(users_, outbox_, hasher_, clock_),
      router_([](const net::Request &request, net::http::status status,
                 const std::string &message) { return failure(request, status, message); })
{
    addEndpoint("register", &AccountService::registerUser);
    addEndpoint("login", &AccountService::login);
    addEndpoint("forgot_password", &AccountService::forgotPassword);
    addEndpoint("change_password", &AccountService::changePassword);
    addEndpoint("logout", &AccountService::logout);
    addEndpoint("deactivate", &AccountService::deactivate);
    router_.add(net::http::verb::get, "/healthz", [](const net::Request &request, auto) {
        return net::makeJson(request, net::http::status::ok, {{"status", "1"}, {"message", "ok"}});
    });
}

void BackendService::addEndpoint(std::string_view word, Endpoint endpoint)
{
    router_.add(net::http::verb::post, std::string(basePath) + std::string(word),
                [this, endpoint](const net::Request &request, std::string_view) {
                    return (accounts_.*endpoint)(request);
                });
}

net::Response BackendService::handle(const net::Request &request) const
{
    try {
        return router_(request);
    } catch (const BadRequest &bad) {
        return failure(request, bad.status(), bad.what());
    }
}

net::Response BackendService::error(const net::Request &request, net::http::status status,
                                     const std::string &message) const
{
    return failure(request, status, message);
}

} // namespace tailwise::backend
