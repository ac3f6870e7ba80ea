#pragma once

#include <cstddef>
#include <string>

namespace tailwise::net {

// `bytes` bytes from the operating system's cryptographic generator, as lowercase hex: for
// names and ids that must not be guessable (tokens, connection ids, file names).
std::string randomHex(std::size_t bytes);

} // namespace tailwise::net
