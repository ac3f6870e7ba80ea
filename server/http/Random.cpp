#include "Random.h"

#include <sodium.h>

#include <stdexcept>

namespace tailwise::net {

std::string randomHex(std::size_t bytes)
{
    static const bool ready = sodium_init() >= 0;
    if (!ready)
        throw std::runtime_error("libsodium could not be initialised");
    std::string raw(bytes, '\0');
    randombytes_buf(raw.data(), raw.size());
    std::string hex(bytes * 2 + 1, '\0');
    sodium_bin2hex(hex.data(), hex.size(), reinterpret_cast<const unsigned char *>(raw.data()),
                   raw.size());
    hex.pop_back();
    return hex;
}

} // namespace tailwise::net
