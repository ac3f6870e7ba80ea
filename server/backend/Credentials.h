#pragma once

#include <string>
#include <string_view>

namespace tailwise::backend {

// Argon2id cost. `interactive` is what the server runs with; `minimal` exists for tests,
// which create many accounts and are not measuring the hash.
struct PasswordCost
{
    unsigned long long opsLimit;
    std::size_t memLimitBytes;

    static PasswordCost interactive();
    static PasswordCost minimal();
};

class PasswordHasher
{
public:
    explicit PasswordHasher(PasswordCost cost);

    std::string hash(std::string_view password) const;
    bool verify(const std::string &storedHash, std::string_view password) const;
    bool needsRehash(const std::string &storedHash) const;

private:
    PasswordCost cost_;
};

// Session tokens: 256 random bits as hex. Only their digest is stored, so a leaked database
// holds no usable token.
std::string newSessionToken();
std::string tokenDigest(std::string_view token);
bool looksLikeSessionToken(std::string_view token);

// A random password for the reset mail: unambiguous letters and digits.
std::string newRandomPassword(std::size_t length = 12);

} // namespace tailwise::backend
