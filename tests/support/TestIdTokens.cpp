#include "TestIdTokens.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <sodium.h>

#include <cstring>
#include <stdexcept>

namespace tailwise::test {

namespace {

std::string base64Url(std::string_view bytes)
{
    std::string text(
        sodium_base64_ENCODED_LEN(bytes.size(), sodium_base64_VARIANT_URLSAFE_NO_PADDING), '\0');
    sodium_bin2base64(text.data(), text.size(),
                      reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size(),
                      sodium_base64_VARIANT_URLSAFE_NO_PADDING);
    text.resize(std::strlen(text.c_str()));
    return text;
}

// A key parameter as big-endian bytes, left-padded to `size` when given (JWK coordinates
// have a fixed length).
std::string bignumBytes(EVP_PKEY *key, const char *name, int size = 0)
{
    BIGNUM *number = nullptr;
    EVP_PKEY_get_bn_param(key, name, &number);
    std::string bytes(static_cast<std::size_t>(size ? size : BN_num_bytes(number)), '\0');
    BN_bn2binpad(number, reinterpret_cast<unsigned char *>(bytes.data()),
                 static_cast<int>(bytes.size()));
    BN_free(number);
    return bytes;
}

} // namespace

SigningKey SigningKey::rsa(std::string keyId)
{
    return SigningKey(std::move(keyId), EVP_RSA_gen(2048), false);
}

SigningKey SigningKey::p256(std::string keyId)
{
    return SigningKey(std::move(keyId), EVP_EC_gen("P-256"), true);
}

SigningKey::SigningKey(std::string keyId, EVP_PKEY *key, bool ec)
    : keyId_(std::move(keyId)), key_(key, EVP_PKEY_free), ec_(ec)
{
    if (!key)
        throw std::runtime_error("no test signing key: " + keyId_);
}

nlohmann::json SigningKey::jwk() const
{
    if (ec_)
        return {{"kty", "EC"},
                {"crv", "P-256"},
                {"kid", keyId_},
                {"x", base64Url(bignumBytes(key_.get(), OSSL_PKEY_PARAM_EC_PUB_X, 32))},
                {"y", base64Url(bignumBytes(key_.get(), OSSL_PKEY_PARAM_EC_PUB_Y, 32))}};
    return {{"kty", "RSA"},
            {"alg", "RS256"},
            {"use", "sig"},
            {"kid", keyId_},
            {"n", base64Url(bignumBytes(key_.get(), OSSL_PKEY_PARAM_RSA_N))},
            {"e", base64Url(bignumBytes(key_.get(), OSSL_PKEY_PARAM_RSA_E))}};
}

std::string SigningKey::sign(std::string_view input) const
{
    EVP_MD_CTX *context = EVP_MD_CTX_new();
    std::size_t length = 0;
    EVP_DigestSignInit(context, nullptr, EVP_sha256(), nullptr, key_.get());
    EVP_DigestSign(context, nullptr, &length, reinterpret_cast<const unsigned char *>(input.data()),
                   input.size());
    std::string signature(length, '\0');
    EVP_DigestSign(context, reinterpret_cast<unsigned char *>(signature.data()), &length,
                   reinterpret_cast<const unsigned char *>(input.data()), input.size());
    EVP_MD_CTX_free(context);
    signature.resize(length);
    if (!ec_)
        return signature;
    const auto *der = reinterpret_cast<const unsigned char *>(signature.data());
    ECDSA_SIG *parsed = d2i_ECDSA_SIG(nullptr, &der, static_cast<long>(signature.size()));
    std::string raw(64, '\0');
    BN_bn2binpad(ECDSA_SIG_get0_r(parsed), reinterpret_cast<unsigned char *>(raw.data()), 32);
    BN_bn2binpad(ECDSA_SIG_get0_s(parsed), reinterpret_cast<unsigned char *>(raw.data()) + 32, 32);
    ECDSA_SIG_free(parsed);
    return raw;
}

std::string keySet(const std::vector<const SigningKey *> &keys)
{
    nlohmann::json set = {{"keys", nlohmann::json::array()}};
    for (const SigningKey *key : keys)
        set["keys"].push_back(key->jwk());
    return set.dump();
}

std::string signedToken(const nlohmann::json &header, const nlohmann::json &claims,
                        const Signer &sign)
{
    const std::string input = base64Url(header.dump()) + "." + base64Url(claims.dump());
    return input + "." + base64Url(sign(input));
}

std::string signedToken(const SigningKey &key, const nlohmann::json &claims)
{
    return signedToken({{"alg", key.algorithm()}, {"kid", key.keyId()}, {"typ", "JWT"}}, claims,
                       [&](const std::string &input) { return key.sign(input); });
}

const TestProvider &testGoogle()
{
    static const SigningKey key = SigningKey::rsa("google-1");
    static const TestProvider provider{"google", "https://accounts.google.com",
                                       "tailwise-test.apps.googleusercontent.com", key};
    return provider;
}

const TestProvider &testFacebook()
{
    static const SigningKey key = SigningKey::p256("facebook-1");
    static const TestProvider provider{"facebook", "https://www.facebook.com", "1234567890", key};
    return provider;
}

nlohmann::json googleClaims(const std::string &email, std::int64_t now, const std::string &subject)
{
    return {{"iss", testGoogle().issuer},
            {"aud", testGoogle().clientId},
            {"sub", subject},
            {"email", email},
            {"email_verified", true},
            {"picture", "https://lh3.example.com/photo.jpg"},
            {"iat", now - 10},
            {"exp", now + 3600}};
}

} // namespace tailwise::test
