#pragma once

// OpenID Connect ID tokens as Google and Facebook issue them, signed with keys the tests make
// themselves, so that the server's verification can be driven without the providers.

#include <nlohmann/json.hpp>
#include <openssl/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tailwise::test {

// A provider's signing key, with its public half as a JSON Web Key.
class SigningKey
{
public:
    // RS256 with 2048 bits; making one takes a noticeable fraction of a second.
    static SigningKey rsa(std::string keyId);
    // ES256.
    static SigningKey p256(std::string keyId);

    const std::string &keyId() const { return keyId_; }
    std::string algorithm() const { return ec_ ? "ES256" : "RS256"; }
    nlohmann::json jwk() const;
    // The signature a token carries (for ES256 the raw r || s, not DER).
    std::string sign(std::string_view input) const;

private:
    SigningKey(std::string keyId, EVP_PKEY *key, bool ec);

    std::string keyId_;
    std::shared_ptr<EVP_PKEY> key_;
    bool ec_;
};

// The key set document (JWKS) publishing `keys`.
std::string keySet(const std::vector<const SigningKey *> &keys);

using Signer = std::function<std::string(const std::string &input)>;
// A compact JWS of `claims` under any `header`, signed by `sign`: the way to forge one.
std::string signedToken(const nlohmann::json &header, const nlohmann::json &claims,
                        const Signer &sign);
// `claims` signed by `key` under the header a provider writes.
std::string signedToken(const SigningKey &key, const nlohmann::json &claims);

// A provider the tests stand in for, named as the server's --oidc-* flags name it.
struct TestProvider
{
    std::string name;
    std::string issuer;
    std::string clientId;
    const SigningKey &key;
};
// Google signs with RSA, Facebook with P-256. Each key is made once per process.
const TestProvider &testGoogle();
const TestProvider &testFacebook();

// What Google's ID token for `email` says, issued 10 s before `now` (seconds since the epoch)
// for our app, valid for an hour, the address verified.
nlohmann::json googleClaims(const std::string &email, std::int64_t now,
                            const std::string &subject = "g-1001");

} // namespace tailwise::test
