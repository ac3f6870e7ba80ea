#pragma once

#include <cstdint>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

namespace tailwise::backend {

struct RateLimit
{
    int requests = 0;
    std::int64_t windowMs = 0;
};

// Counts requests per key (a client address, an account) in fixed windows, in memory. The
// table holds at most `maxKeys` keys; when it is full the key used least recently goes, so
// memory stays bounded whatever a client sends.
class RateLimiter
{
public:
    explicit RateLimiter(RateLimit limit, std::size_t maxKeys = 50'000)
        : limit_(limit), maxKeys_(maxKeys)
    {}

    // Counts a request; nullopt when it may go ahead, else the milliseconds until the key's
    // window ends.
    std::optional<std::int64_t> take(const std::string &key, std::int64_t nowMs);

    std::size_t size() const;

private:
    struct Entry
    {
        std::int64_t windowStart = 0;
        int count = 0;
        std::list<std::string>::iterator recent;
    };

    RateLimit limit_;
    std::size_t maxKeys_;
    mutable std::mutex mutex_;
    std::unordered_map<std::string, Entry> entries_;
    std::list<std::string> recent_; // least recently used first
};

} // namespace tailwise::backend
