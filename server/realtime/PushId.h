#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <random>
#include <string>

namespace tailwise::realtime {

inline constexpr std::string_view pushIdAlphabet =
    "-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";

// Makes 20-character push ids: 8 characters of time in ms, then 12 random ones. Ids made in
// the same millisecond (or after the clock stepped back) increment the previous random part,
// so every id is greater than the one before it.
class PushIdGenerator
{
public:
    PushIdGenerator();
    std::string next(std::int64_t nowMs);

private:
    std::mutex mutex_;
    std::mt19937_64 random_;
    std::int64_t lastTime_ = -1;
    std::array<int, 12> lastRandom_{};
};

} // namespace tailwise::realtime
