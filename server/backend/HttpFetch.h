#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace tailwise::backend {

struct FetchLimits
{
    std::chrono::milliseconds connectTimeout{std::chrono::seconds(5)};
    std::chrono::milliseconds totalTimeout{std::chrono::seconds(10)};
    std::size_t maxBytes = 1024 * 1024;
};

// The body of a GET of `url` answered 200. https only, with the certificate and host name
// verified; plain http is allowed to a loopback host alone (development and tests). No
// redirects are followed. Throws std::runtime_error saying what went wrong.
std::string fetchUrl(const std::string &url, const FetchLimits &limits = {});

bool isHttpUrl(std::string_view text);

} // namespace tailwise::backend
