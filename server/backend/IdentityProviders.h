#pragma once

#include "Clock.h"
#include "IdTokens.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace tailwise::backend {

// One provider as the flags configure it: the issuer its tokens must name, where its signing
// keys are (a file, or an https address), and our app's client id there.
struct IdentityProviderConfig
{
    std::string issuer;
    std::string keys;
    std::string clientId;
};

// By provider name: "google" (register_type "gmail") and "facebook".
using IdentityProviderConfigs = std::map<std::string, IdentityProviderConfig>;

// The provider behind a register_type; empty for "manual".
std::string identityProviderFor(std::string_view registerType);

// Verifies one provider's ID tokens. Its keys are loaded at start, again when a token names a
// key we do not have (at most once a minute), and when an hour has passed, so rotated keys are
// picked up without a restart; a failed reload keeps the keys we had.
class IdentityProvider
{
public:
    // Throws std::runtime_error when a key file cannot be read; an address that cannot be
    // fetched now only warns, and is fetched again when needed.
    IdentityProvider(std::string name, IdentityProviderConfig config, const Clock &clock);

    // Throws IdTokenError.
    Identity verify(std::string_view token);

    static constexpr std::int64_t retryAfterMs = 60'000;
    static constexpr std::int64_t refreshAfterMs = 3'600'000;

private:
    std::shared_ptr<const KeySet> keysFor(const std::string &keyId);
    void reload(std::int64_t nowMs);
    KeySet load() const;

    std::string name_;
    IdentityProviderConfig config_;
    const Clock &clock_;
    std::mutex reloading_; // one load at a time
    std::mutex mutex_;     // guards the three below
    std::shared_ptr<const KeySet> keys_;
    std::int64_t loadedAt_ = 0;
    std::int64_t triedAt_ = 0;
};

class IdentityProviders
{
public:
    // Throws std::invalid_argument for an unknown provider name or a provider that lacks
    // one of its three settings, naming the flag.
    IdentityProviders(const IdentityProviderConfigs &configs, const Clock &clock);

    // nullptr when the provider is not configured.
    IdentityProvider *find(std::string_view name) const;

private:
    std::map<std::string, std::unique_ptr<IdentityProvider>, std::less<>> providers_;
};

} // namespace tailwise::backend
