#pragma once

#include "../http/Router.h"
#include "AccountService.h"
#include "PartnerSearch.h"
#include "PartnerService.h"
#include "PictureStore.h"
#include "ProfileService.h"
#include "ProfileStore.h"

#include <filesystem>
#include <memory>

namespace tailwise::backend {

struct BackendConfig
{
    std::filesystem::path dataDir;
    PasswordCost passwordCost = PasswordCost::interactive();
    const Clock *clock = nullptr; // the system clock when null
    // Google and Facebook sign-in; a provider that is not configured is refused.
    IdentityProviderConfigs identityProviders = {};
    RateLimitPolicy rateLimits = {};
    SessionRules sessions = {};
};

// The app's REST backend: "/app/backend/app/users/<endpoint>", the uploaded pictures under
// "/projects/tailapp/uploads/", and "/healthz".
class BackendService
{
public:
    static constexpr std::string_view basePath = "/app/backend/app/users/";

    explicit BackendService(const BackendConfig &config);

    net::Response handle(const net::Request &request) const;
    net::Response error(const net::Request &request, net::http::status status,
                        const std::string &message) const;

    UserStore &users() { return users_; }
    const Sessions &sessions() const { return sessions_; }
    // Before the first request: see Sessions::onEnded.
    void onSessionsEnded(Sessions::EndObserver observer) { sessions_.onEnded(std::move(observer)); }

    // The endpoints that hash a password (sign-up, sign-in, password changes): a few of them
    // keep a core busy for a tenth of a second each.
    static bool hashesPasswords(const net::Request &request);

private:
    void addEndpoint(std::string_view word,
                     std::function<net::Response(const net::Request &)> endpoint);
    void addEndpointWithId(
        std::string_view word,
        std::function<net::Response(const net::Request &, std::string_view)> endpoint);

    SystemClock systemClock_;
    const Clock &clock_;
    UserStore users_;
    Sessions sessions_;
    Outbox outbox_;
    PasswordHasher hasher_;
    IdentityProviders identities_;
    PictureStore pictures_;
    ProfileStore profiles_;
    PartnerSearch search_;
    AccountService accounts_;
    ProfileService profileService_;
    PartnerService partnerService_;
    net::Router router_;
};

} // namespace tailwise::backend
