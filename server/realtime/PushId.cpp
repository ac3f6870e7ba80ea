#include "PushId.h"

#include <algorithm>

namespace tailwise::realtime {

PushIdGenerator::PushIdGenerator() : random_(std::random_device{}()) {}

std::string PushIdGenerator::next(std::int64_t nowMs)
{
    const std::lock_guard lock(mutex_);
    if (nowMs <= lastTime_) {
        nowMs = lastTime_;
        int i = 11;
        for (; i >= 0 && lastRandom_[i] == 63; --i)
            lastRandom_[i] = 0;
        if (i >= 0) {
            ++lastRandom_[i];
        } else {
            // Every random digit carried over: move on to the next millisecond instead.
            nowMs = ++lastTime_;
        }
    } else {
        std::uniform_int_distribution<int> digit(0, 63);
        for (auto &value : lastRandom_)
            value = digit(random_);
    }
    lastTime_ = nowMs;

    std::string id(20, '-');
    std::uint64_t time = static_cast<std::uint64_t>(std::max<std::int64_t>(nowMs, 0));
    for (int i = 7; i >= 0; --i) {
        id[i] = pushIdAlphabet[time % 64];
        time /= 64;
    }
    for (int i = 0; i < 12; ++i)
        id[8 + i] = pushIdAlphabet[lastRandom_[i]];
    return id;
}

} // namespace tailwise::realtime
