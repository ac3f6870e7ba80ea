#include "IdentityProviders.h"

#include "HttpFetch.h"

#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>

namespace tailwise::backend {
namespace {

std::string readKeyFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot read " + path);
    std::string text;
    constexpr std::size_t limit = 1024 * 1024;
    text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (text.size() > limit)
        throw std::runtime_error(path + " is larger than 1 MiB");
    return text;
}

} // namespace

std::string identityProviderFor(std::string_view registerType)
{
    if (registerType == "gmail")
        return "google";
    if (registerType == "facebook")
        return "facebook";
    return {};
}

IdentityProvider::IdentityProvider(std::string name, IdentityProviderConfig config,
                                   const Clock &clock)
    : name_(std::move(name)), config_(std::move(config)), clock_(clock)
{
    const std::int64_t now = clock_.nowMs();
    triedAt_ = now;
    try {
        keys_ = std::make_shared<const KeySet>(load());
        loadedAt_ = now;
    } catch (const std::runtime_error &error) {
        if (!isHttpUrl(config_.keys))
            throw std::runtime_error(name_ + " sign-in keys: " + error.what());
        std::cerr << "tailwise-server: " << name_ << " sign-in keys not loaded yet ("
                  << error.what() << "); trying again when a sign-in needs them\n";
    }
}

KeySet IdentityProvider::load() const
{
    return KeySet::parse(isHttpUrl(config_.keys) ? fetchUrl(config_.keys)
                                                 : readKeyFile(config_.keys));
}

void IdentityProvider::reload(std::int64_t nowMs)
{
    const std::lock_guard one(reloading_);
    {
        // Whoever held the lock before us may just have done it.
        const std::lock_guard lock(mutex_);
        if (nowMs - triedAt_ < retryAfterMs)
            return;
        triedAt_ = nowMs;
    }
    try {
        auto keys = std::make_shared<const KeySet>(load());
        const std::lock_guard lock(mutex_);
        keys_ = std::move(keys);
        loadedAt_ = nowMs;
    } catch (const std::runtime_error &error) {
        std::cerr << "tailwise-server: reloading " << name_
                  << " sign-in keys failed: " << error.what() << "\n";
    }
}

std::shared_ptr<const KeySet> IdentityProvider::keysFor(const std::string &keyId)
{
    const std::int64_t now = clock_.nowMs();
    bool wanted = false;
    {
        const std::lock_guard lock(mutex_);
        wanted = (!keys_ || !keys_->has(keyId) || now - loadedAt_ >= refreshAfterMs) &&
                 now - triedAt_ >= retryAfterMs;
    }
    if (wanted)
        reload(now);
    const std::lock_guard lock(mutex_);
    return keys_;
}

Identity IdentityProvider::verify(std::string_view token)
{
    const auto keys = keysFor(tokenKeyId(token));
    if (!keys)
        throw IdTokenError("Sign-in keys are not available right now; please try again later.");
    return verifyIdToken(token, *keys,
                         {config_.issuer, config_.clientId, clock_.nowMs() / 1000, 60});
}

IdentityProviders::IdentityProviders(const IdentityProviderConfigs &configs, const Clock &clock)
{
    for (const auto &[name, config] : configs) {
        if (name != "google" && name != "facebook")
            throw std::invalid_argument("unknown sign-in provider \"" + name +
                                        "\"; use google or facebook");
        const std::pair<const char *, const std::string *> settings[] = {
            {"--oidc-issuer", &config.issuer},
            {"--oidc-jwks", &config.keys},
            {"--oidc-client-id", &config.clientId},
        };
        for (const auto &[flag, value] : settings) {
            if (value->empty())
                throw std::invalid_argument(
                    std::string(flag) + " " + name + "=... is missing; " + name +
                    " sign-in needs --oidc-issuer, --oidc-jwks and --oidc-client-id");
        }
        providers_.emplace(name, std::make_unique<IdentityProvider>(name, config, clock));
    }
}

IdentityProvider *IdentityProviders::find(std::string_view name) const
{
    const auto found = providers_.find(name);
    return found == providers_.end() ? nullptr : found->second.get();
}

} // namespace tailwise::backend
