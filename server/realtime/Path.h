#pragma once

#include "http/asio.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tailwise::realtime {

// A refusal of a request, carried up to the REST handler which turns it into
// `{"error": message}` with `status`.
class Refusal : public std::runtime_error
{
public:
    Refusal(net::http::status status, const std::string &message)
        : std::runtime_error(message), status_(status)
    {}
    net::http::status status() const { return status_; }

private:
    net::http::status status_;
};

inline constexpr std::size_t maxKeyBytes = 768;
inline constexpr std::size_t maxDepth = 32;

// A location in the tree: its keys from the root down; empty for the root.
using Path = std::vector<std::string>;

// Why `key` cannot name a child, or an empty string when it can.
std::string keyProblem(std::string_view key);
bool validUtf8(std::string_view text);

// Decodes %XX escapes; nullopt when an escape is malformed.
std::optional<std::string> percentDecode(std::string_view text);

// "/a/b%20c.json" -> {"a", "b c"}. Empty segments are skipped, so "/.json" is the root.
// Throws Refusal (400) for a missing ".json", a bad escape, a bad key or too deep a path.
Path parseUrlPath(std::string_view urlPath);

// "a/b/c" as used in multi-location updates and orderBy="child/path"; throws Refusal.
Path parseRelativePath(std::string_view text);

// "/a/b"; "/" for the root.
std::string pathText(const Path &path);

bool isPrefix(const Path &prefix, const Path &path);
Path join(const Path &base, const Path &rest);

} // namespace tailwise::realtime
