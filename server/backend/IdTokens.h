#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

typedef struct evp_pkey_st EVP_PKEY;

namespace tailwise::backend {

// Why an ID token was refused; the message is fit to show the client.
class IdTokenError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// What a verified OpenID Connect ID token says about the person.
struct Identity
{
    std::string issuer;
    std::string subject;
    std::string email;
    std::optional<std::string> picture; // an https address, when the token names one
};

// A JSON Web Key Set: the public keys an identity provider signs its ID tokens with, by key
// id. Only signing keys we verify are kept: RSA (RS256, 2048 bits or more) and P-256 (ES256);
// a key names its algorithm, so a token cannot choose another one for it.
class KeySet
{
public:
    enum class Algorithm
    {
        rs256,
        es256
    };

    // Throws std::runtime_error when the text is not a key set.
    static KeySet parse(std::string_view json);

    bool has(std::string_view keyId) const { return keys_.contains(keyId); }
    std::size_t size() const { return keys_.size(); }

    struct Key
    {
        Algorithm algorithm;
        std::shared_ptr<EVP_PKEY> key;
    };
    const Key *find(std::string_view keyId) const;

private:
    std::map<std::string, Key, std::less<>> keys_;
};

struct TokenExpectations
{
    std::string issuer;
    std::string clientId;
    std::int64_t nowSeconds = 0;
    std::int64_t leewaySeconds = 60;
};

// The key id a token's header names, so the caller can make sure it has that key before
// verifying. Throws IdTokenError.
std::string tokenKeyId(std::string_view token);

// Checks the signature with the key the header names (the algorithm must be that key's),
// then the issuer, the audience, the expiry and issue times (with leeway), a verified e-mail
// and a subject. Throws IdTokenError.
Identity verifyIdToken(std::string_view token, const KeySet &keys,
                       const TokenExpectations &expectations);

} // namespace tailwise::backend
