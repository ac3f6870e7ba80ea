#include "IdTokens.h"

#include "Fields.h"

#include "../http/Json.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <sodium.h>

#include <boost/algorithm/string/predicate.hpp>

#include <array>
#include <cmath>

namespace tailwise::backend {
namespace {

constexpr std::size_t maxTokenBytes = 16 * 1024;
constexpr std::size_t maxKeys = 100;
constexpr std::size_t ecCoordinateBytes = 32;

const std::string notValid = "The sign-in token is not valid.";

std::optional<std::string> base64Url(std::string_view text)
{
    std::string bytes(text.size() * 3 / 4 + 3, '\0');
    std::size_t length = 0;
    const char *end = nullptr;
    if (sodium_base642bin(reinterpret_cast<unsigned char *>(bytes.data()), bytes.size(),
                          text.data(), text.size(), nullptr, &length, &end,
                          sodium_base64_VARIANT_URLSAFE_NO_PADDING) != 0 ||
        end != text.data() + text.size())
        return std::nullopt;
    bytes.resize(length);
    return bytes;
}

struct FreeBignum
{
    void operator()(BIGNUM *n) const { BN_free(n); }
};
using Bignum = std::unique_ptr<BIGNUM, FreeBignum>;

Bignum bignum(std::string_view bytes)
{
    return Bignum(BN_bin2bn(reinterpret_cast<const unsigned char *>(bytes.data()),
                            static_cast<int>(bytes.size()), nullptr));
}

std::shared_ptr<EVP_PKEY> fromParameters(const char *type, const OSSL_PARAM *parameters)
{
    std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)> context(
        EVP_PKEY_CTX_new_from_name(nullptr, type, nullptr), EVP_PKEY_CTX_free);
    EVP_PKEY *key = nullptr;
    if (!context || EVP_PKEY_fromdata_init(context.get()) != 1 ||
        EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_PUBLIC_KEY,
                          const_cast<OSSL_PARAM *>(parameters)) != 1)
        return nullptr;
    return {key, EVP_PKEY_free};
}

std::shared_ptr<EVP_PKEY> rsaKey(const std::string &modulus, const std::string &exponent)
{
    const Bignum n = bignum(modulus);
    const Bignum e = bignum(exponent);
    std::unique_ptr<OSSL_PARAM_BLD, decltype(&OSSL_PARAM_BLD_free)> builder(OSSL_PARAM_BLD_new(),
                                                                            OSSL_PARAM_BLD_free);
    if (!n || !e || !builder || OSSL_PARAM_BLD_push_BN(builder.get(), "n", n.get()) != 1 ||
        OSSL_PARAM_BLD_push_BN(builder.get(), "e", e.get()) != 1)
        return nullptr;
    std::unique_ptr<OSSL_PARAM, decltype(&OSSL_PARAM_free)> parameters(
        OSSL_PARAM_BLD_to_param(builder.get()), OSSL_PARAM_free);
    if (!parameters)
        return nullptr;
    auto key = fromParameters("RSA", parameters.get());
    // Shorter moduli are factorable; no provider signs with them.
    return key && EVP_PKEY_get_bits(key.get()) >= 2048 ? key : nullptr;
}

std::shared_ptr<EVP_PKEY> p256Key(const std::string &x, const std::string &y)
{
    if (x.size() != ecCoordinateBytes || y.size() != ecCoordinateBytes)
        return nullptr;
    std::string point = "\x04" + x + y;
    char group[] = "prime256v1";
    const std::array parameters = {
        OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, group, 0),
        OSSL_PARAM_construct_octet_string(OSSL_PKEY_PARAM_PUB_KEY, point.data(), point.size()),
        OSSL_PARAM_construct_end(),
    };
    auto key = fromParameters("EC", parameters.data());
    if (!key)
        return nullptr;
    // A point off the curve would make verification meaningless.
    std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)> check(
        EVP_PKEY_CTX_new_from_pkey(nullptr, key.get(), nullptr), EVP_PKEY_CTX_free);
    return check && EVP_PKEY_public_check(check.get()) == 1 ? key : nullptr;
}

std::optional<std::string> textMember(const net::Json &object, const char *name)
{
    const auto found = object.find(name);
    if (found == object.end() || !found->is_string())
        return std::nullopt;
    return found->get<std::string>();
}

std::optional<std::string> decodedMember(const net::Json &object, const char *name)
{
    const auto text = textMember(object, name);
    return text ? base64Url(*text) : std::nullopt;
}

std::optional<KeySet::Key> keyFrom(const net::Json &jwk)
{
    if (!jwk.is_object())
        return std::nullopt;
    const auto use = textMember(jwk, "use");
    if (use && *use != "sig")
        return std::nullopt;
    const auto type = textMember(jwk, "kty");
    const auto algorithm = textMember(jwk, "alg");
    if (type == "RSA" && (!algorithm || *algorithm == "RS256")) {
        const auto n = decodedMember(jwk, "n");
        const auto e = decodedMember(jwk, "e");
        if (auto key = n && e ? rsaKey(*n, *e) : nullptr)
            return KeySet::Key{KeySet::Algorithm::rs256, std::move(key)};
    } else if (type == "EC" && textMember(jwk, "crv") == "P-256" &&
               (!algorithm || *algorithm == "ES256")) {
        const auto x = decodedMember(jwk, "x");
        const auto y = decodedMember(jwk, "y");
        if (auto key = x && y ? p256Key(*x, *y) : nullptr)
            return KeySet::Key{KeySet::Algorithm::es256, std::move(key)};
    }
    return std::nullopt;
}

// JWS carries an ECDSA signature as r || s; OpenSSL verifies the DER form.
std::optional<std::string> derSignature(std::string_view raw)
{
    if (raw.size() != 2 * ecCoordinateBytes)
        return std::nullopt;
    std::unique_ptr<ECDSA_SIG, decltype(&ECDSA_SIG_free)> signature(ECDSA_SIG_new(),
                                                                    ECDSA_SIG_free);
    Bignum r = bignum(raw.substr(0, ecCoordinateBytes));
    Bignum s = bignum(raw.substr(ecCoordinateBytes));
    if (!signature || !r || !s || ECDSA_SIG_set0(signature.get(), r.get(), s.get()) != 1)
        return std::nullopt;
    r.release();
    s.release();
    const int length = i2d_ECDSA_SIG(signature.get(), nullptr);
    if (length <= 0)
        return std::nullopt;
    std::string der(static_cast<std::size_t>(length), '\0');
    auto *out = reinterpret_cast<unsigned char *>(der.data());
    i2d_ECDSA_SIG(signature.get(), &out);
    return der;
}

bool signatureHolds(const KeySet::Key &key, std::string_view signedPart, std::string signature)
{
    if (key.algorithm == KeySet::Algorithm::es256) {
        auto der = derSignature(signature);
        if (!der)
            return false;
        signature = std::move(*der);
    } else if (signature.size() != static_cast<std::size_t>(EVP_PKEY_get_size(key.key.get()))) {
        return false;
    }
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                    EVP_MD_CTX_free);
    return context &&
           EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key.key.get()) ==
               1 &&
           EVP_DigestVerify(
               context.get(), reinterpret_cast<const unsigned char *>(signature.data()),
               signature.size(), reinterpret_cast<const unsigned char *>(signedPart.data()),
               signedPart.size()) == 1;
}

struct Parts
{
    net::Json header;
    net::Json claims;
    std::string_view signedPart;
    std::string signature;
};

Parts split(std::string_view token)
{
    if (token.size() > maxTokenBytes)
        throw IdTokenError(notValid);
    const auto first = token.find('.');
    const auto second = first == std::string_view::npos ? first : token.find('.', first + 1);
    if (second == std::string_view::npos || token.find('.', second + 1) != std::string_view::npos)
        throw IdTokenError(notValid);
    const auto header = base64Url(token.substr(0, first));
    const auto claims = base64Url(token.substr(first + 1, second - first - 1));
    const auto signature = base64Url(token.substr(second + 1));
    auto headerJson = header ? net::parseJson(*header, 4) : std::nullopt;
    auto claimsJson = claims ? net::parseJson(*claims, 8) : std::nullopt;
    if (!signature || !headerJson || !headerJson->is_object() || !claimsJson ||
        !claimsJson->is_object())
        throw IdTokenError(notValid);
    return {std::move(*headerJson), std::move(*claimsJson), token.substr(0, second), *signature};
}

std::optional<std::int64_t> seconds(const net::Json &claims, const char *name)
{
    const auto found = claims.find(name);
    if (found == claims.end() || !found->is_number())
        return std::nullopt;
    const double value = found->get<double>();
    if (!std::isfinite(value) || std::abs(value) > 1e15)
        return std::nullopt;
    return static_cast<std::int64_t>(value);
}

bool audienceHolds(const net::Json &claims, const std::string &clientId)
{
    const auto audience = claims.find("aud");
    if (audience == claims.end())
        return false;
    if (audience->is_string())
        return *audience == clientId;
    if (!audience->is_array())
        return false;
    for (const auto &entry : *audience) {
        if (entry.is_string() && entry == clientId)
            return true;
    }
    return false;
}

} // namespace

KeySet KeySet::parse(std::string_view json)
{
    const auto document = net::parseJson(json, 8);
    if (!document || !document->is_object() || !document->contains("keys") ||
        !(*document)["keys"].is_array())
        throw std::runtime_error("not a JSON Web Key Set");
    KeySet set;
    for (const auto &jwk : (*document)["keys"]) {
        const auto keyId = textMember(jwk, "kid");
        if (!keyId || set.keys_.size() >= maxKeys)
            continue;
        if (auto key = keyFrom(jwk))
            set.keys_.emplace(*keyId, std::move(*key));
    }
    return set;
}

const KeySet::Key *KeySet::find(std::string_view keyId) const
{
    const auto found = keys_.find(keyId);
    return found == keys_.end() ? nullptr : &found->second;
}

std::string tokenKeyId(std::string_view token)
{
    const auto keyId = textMember(split(token).header, "kid");
    if (!keyId)
        throw IdTokenError(notValid);
    return *keyId;
}

Identity verifyIdToken(std::string_view token, const KeySet &keys,
                       const TokenExpectations &expectations)
{
    const Parts parts = split(token);
    const auto keyId = textMember(parts.header, "kid");
    const auto algorithm = textMember(parts.header, "alg");
    const KeySet::Key *key = keyId ? keys.find(*keyId) : nullptr;
    // The key decides the algorithm: "none", HMAC or another key's algorithm never pass.
    const bool algorithmFits =
        key && algorithm &&
        *algorithm == (key->algorithm == KeySet::Algorithm::rs256 ? "RS256" : "ES256");
    if (!algorithmFits || parts.header.contains("crit") ||
        !signatureHolds(*key, parts.signedPart, parts.signature))
        throw IdTokenError(notValid);

    const net::Json &claims = parts.claims;
    if (textMember(claims, "iss") != expectations.issuer ||
        !audienceHolds(claims, expectations.clientId))
        throw IdTokenError("The sign-in token was not issued for this app.");
    const auto now = expectations.nowSeconds;
    const auto leeway = expectations.leewaySeconds;
    const auto expires = seconds(claims, "exp");
    const auto issued = seconds(claims, "iat");
    const auto notBefore = seconds(claims, "nbf");
    if (!expires || !issued || (claims.contains("nbf") && !notBefore))
        throw IdTokenError(notValid);
    if (now >= *expires + leeway)
        throw IdTokenError("The sign-in token has expired; please sign in again.");
    if (*issued > now + leeway || (notBefore && *notBefore > now + leeway))
        throw IdTokenError("The sign-in token is not valid yet.");

    const auto verified = claims.find("email_verified");
    if (verified == claims.end() ||
        !(*verified == true || (verified->is_string() && *verified == "true")))
        throw IdTokenError("The e-mail address of this sign-in is not verified.");
    Identity identity;
    identity.issuer = expectations.issuer;
    identity.subject = textMember(claims, "sub").value_or("");
    identity.email = trimmed(textMember(claims, "email").value_or(""));
    if (identity.subject.empty() || identity.subject.size() > 255)
        throw IdTokenError(notValid);
    if (!plausibleEmail(identity.email))
        throw IdTokenError("The sign-in token carries no usable e-mail address.");
    if (const auto picture = textMember(claims, "picture");
        picture && picture->size() <= 1024 && boost::algorithm::starts_with(*picture, "https://"))
        identity.picture = picture;
    return identity;
}

} // namespace tailwise::backend
