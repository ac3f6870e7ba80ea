#include "Credentials.h"

#include "../http/Random.h"

#include <sodium.h>

#include <algorithm>
#include <stdexcept>

namespace tailwise::backend {
namespace {

void ensureSodium()
{
    static const bool ready = sodium_init() >= 0;
    if (!ready)
        throw std::runtime_error("libsodium could not be initialised");
}

std::string toHex(const unsigned char *data, std::size_t size)
{
    std::string hex(size * 2 + 1, '\0');
    sodium_bin2hex(hex.data(), hex.size(), data, size);
    hex.pop_back();
    return hex;
}

} // namespace

PasswordCost PasswordCost::interactive()
{
    return {crypto_pwhash_OPSLIMIT_INTERACTIVE, crypto_pwhash_MEMLIMIT_INTERACTIVE};
}

PasswordCost PasswordCost::minimal()
{
    return {crypto_pwhash_OPSLIMIT_MIN, crypto_pwhash_MEMLIMIT_MIN};
}

PasswordHasher::PasswordHasher(PasswordCost cost) : cost_(cost)
{
    ensureSodium();
}

std::string PasswordHasher::hash(std::string_view password) const
{
    char out[crypto_pwhash_STRBYTES];
    if (crypto_pwhash_str_alg(out, password.data(), password.size(), cost_.opsLimit,
                              cost_.memLimitBytes, crypto_pwhash_ALG_ARGON2ID13) != 0)
        throw std::runtime_error("password hashing ran out of memory");
    return out;
}

bool PasswordHasher::verify(const std::string &storedHash, std::string_view password) const
{
    return crypto_pwhash_str_verify(storedHash.c_str(), password.data(), password.size()) == 0;
}

bool PasswordHasher::needsRehash(const std::string &storedHash) const
{
    return crypto_pwhash_str_needs_rehash(storedHash.c_str(), cost_.opsLimit,
                                          cost_.memLimitBytes) != 0;
}

std::string newSessionToken()
{
    return net::randomHex(32);
}

std::string tokenDigest(std::string_view token)
{
    ensureSodium();
    unsigned char digest[crypto_generichash_BYTES];
    crypto_generichash(digest, sizeof digest, reinterpret_cast<const unsigned char *>(token.data()),
                       token.size(), nullptr, 0);
    return toHex(digest, sizeof digest);
}

bool looksLikeSessionToken(std::string_view token)
{
    return token.size() == 64 && std::all_of(token.begin(), token.end(), [](char c) {
               return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
           });
}

std::string newRandomPassword(std::size_t length)
{
    ensureSodium();
    static constexpr std::string_view alphabet =
        "abcdefghjkmnpqrstuvwxyzABCDEFGHJKLMNPQRSTUVWXYZ23456789";
    std::string password(length, ' ');
    for (char &c : password)
        c = alphabet[randombytes_uniform(static_cast<std::uint32_t>(alphabet.size()))];
    return password;
}

} // namespace tailwise::backend
