#include "Uuid.h"

#include "http/Random.h"

#include <cctype>

namespace tailwise::push {
namespace {

constexpr std::size_t uuidLength = 36;

bool isDashAt(std::size_t i)
{
    return i == 8 || i == 13 || i == 18 || i == 23;
}

} // namespace

std::string newUuid()
{
    std::string hex = net::randomHex(16);
    // Version 4 and the RFC 4122 variant: 4 as the 13th digit, 10 as the 17th's top two bits.
    hex[12] = '4';
    const char digit = hex[16];
    const int low =
        std::isdigit(static_cast<unsigned char>(digit)) ? digit - '0' : digit - 'a' + 10;
    hex[16] = "89ab"[low & 3];
    return hex.substr(0, 8) + '-' + hex.substr(8, 4) + '-' + hex.substr(12, 4) + '-' +
           hex.substr(16, 4) + '-' + hex.substr(20);
}

std::optional<std::string> canonicalUuid(std::string_view text)
{
    if (text.size() != uuidLength)
        return std::nullopt;
    std::string uuid(text);
    for (std::size_t i = 0; i < uuid.size(); ++i) {
        const auto c = static_cast<unsigned char>(uuid[i]);
        if (isDashAt(i) ? c != '-' : !std::isxdigit(c))
            return std::nullopt;
        uuid[i] = static_cast<char>(std::tolower(c));
    }
    return uuid;
}

} // namespace tailwise::push
