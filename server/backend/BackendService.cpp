#include "BackendService.h"
#include "LegalPages.h"

#include "Envelope.h"
#include "Fields.h"

#include "../http/Responses.h"

namespace tailwise::backend {

BackendService::BackendService(const BackendConfig &config)
    : clock_(config.clock ? *config.clock : systemClock_),
      users_((std::filesystem::create_directories(config.dataDir),
              (config.dataDir / "backend.sqlite3").string())),
      sessions_(users_, clock_, config.sessions), outbox_(config.dataDir / "outbox"),
      hasher_(config.passwordCost), identities_(config.identityProviders, clock_),
      pictures_(config.dataDir / "uploads"), profiles_(users_), search_(users_),
      accounts_(users_, sessions_, outbox_, hasher_, identities_, clock_, config.rateLimits),
      profileService_(users_, sessions_, pictures_, clock_),
      partnerService_(sessions_, profiles_, search_, clock_),
      router_([](const net::Request &request, net::http::status status,
                 const std::string &message) { return failure(request, status, message); })
{
    outbox_.reconcile([this](const std::string &name) { return users_.mailRecorded(name); });

    const auto bind = [](auto *service, auto method) {
        return [service, method](const net::Request &request, auto... id) {
            return (service->*method)(request, id...);
        };
    };
    addEndpoint("register", bind(&accounts_, &AccountService::registerUser));
    addEndpoint("login", bind(&accounts_, &AccountService::login));
    addEndpoint("forgot_password", bind(&accounts_, &AccountService::forgotPassword));
    addEndpoint("change_password", bind(&accounts_, &AccountService::changePassword));
    addEndpoint("logout", bind(&accounts_, &AccountService::logout));
    addEndpoint("deactivate", bind(&accounts_, &AccountService::deactivate));

    addEndpoint("get_profile", bind(&profileService_, &ProfileService::getProfile));
    addEndpoint("userprofile", bind(&profileService_, &ProfileService::saveProfile));
    addEndpoint("update", bind(&profileService_, &ProfileService::saveProfile));
    addEndpoint("statusUpdate", bind(&profileService_, &ProfileService::statusUpdate));

    addEndpointWithId("all_users", bind(&partnerService_, &PartnerService::allUsers));
    addEndpointWithId("get_user_favourite", bind(&partnerService_, &PartnerService::favourites));
    addEndpoint("create_user_favourite", bind(&partnerService_, &PartnerService::createFavourite));

    router_.addPrefix(net::http::verb::get, std::string(ProfileService::uploadsPath),
                      [this](const net::Request &request, std::string_view name) {
                          return profileService_.picture(request, name);
                      });
    router_.add(net::http::verb::get, "/terms", [](const net::Request &request, auto) {
        return net::makeResponse(request, net::http::status::ok, std::string(termsOfUsePage()),
                                 "text/html; charset=utf-8");
    });
    router_.add(net::http::verb::get, "/privacy", [](const net::Request &request, auto) {
        return net::makeResponse(request, net::http::status::ok, std::string(privacyPolicyPage()),
                                 "text/html; charset=utf-8");
    });
    router_.add(net::http::verb::get, "/healthz", [](const net::Request &request, auto) {
        return net::makeJson(request, net::http::status::ok, {{"status", "1"}, {"message", "ok"}});
    });
}

void BackendService::addEndpoint(std::string_view word,
                                 std::function<net::Response(const net::Request &)> endpoint)
{
    router_.add(net::http::verb::post, std::string(basePath) + std::string(word),
                [endpoint = std::move(endpoint)](const net::Request &request, std::string_view) {
                    return endpoint(request);
                });
}

void BackendService::addEndpointWithId(
    std::string_view word,
    std::function<net::Response(const net::Request &, std::string_view)> endpoint)
{
    router_.addPrefix(
        net::http::verb::post, std::string(basePath) + std::string(word) + "/",
        [endpoint = std::move(endpoint)](const net::Request &request, std::string_view id) {
            if (id.find('/') != std::string_view::npos)
                throw BadRequest("Unknown endpoint.", net::http::status::not_found);
            return endpoint(request, id);
        });
}

bool BackendService::hashesPasswords(const net::Request &request)
{
    const std::string_view target = request.target();
    if (!target.starts_with(basePath))
        return false;
    const std::string_view word =
        target.substr(basePath.size(), target.find('?') - basePath.size());
    return word == "register" || word == "login" || word == "forgot_password" ||
           word == "change_password";
}

net::Response BackendService::handle(const net::Request &request) const
{
    try {
        return router_(request);
    } catch (const BadRequest &bad) {
        auto response = failure(request, bad.status(), bad.what());
        if (const auto seconds = bad.retryAfterSeconds())
            response.set(net::http::field::retry_after, std::to_string(*seconds));
        return response;
    }
}

net::Response BackendService::error(const net::Request &request, net::http::status status,
                                    const std::string &message) const
{
    return failure(request, status, message);
}

} // namespace tailwise::backend
