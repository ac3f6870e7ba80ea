#include "RateLimiter.h"

namespace tailwise::backend {

std::optional<std::int64_t> RateLimiter::take(const std::string &key, std::int64_t nowMs)
{
    const std::lock_guard lock(mutex_);
    auto found = entries_.find(key);
    if (found == entries_.end()) {
        if (entries_.size() >= maxKeys_) {
            entries_.erase(recent_.front());
            recent_.pop_front();
        }
        recent_.push_back(key);
        found = entries_.emplace(key, Entry{nowMs, 0, std::prev(recent_.end())}).first;
    } else {
        recent_.splice(recent_.end(), recent_, found->second.recent);
    }
    Entry &entry = found->second;
    if (nowMs - entry.windowStart >= limit_.windowMs) {
        entry.windowStart = nowMs;
        entry.count = 0;
    }
    if (entry.count >= limit_.requests)
        return entry.windowStart + limit_.windowMs - nowMs;
    ++entry.count;
    return std::nullopt;
}

std::size_t RateLimiter::size() const
{
    const std::lock_guard lock(mutex_);
    return entries_.size();
}

} // namespace tailwise::backend
