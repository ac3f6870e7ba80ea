#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace tailwise::backend {

// Milliseconds since the Unix epoch. Injected so that time-based rules (the sign-in lock)
// can be tested without waiting.
class Clock
{
public:
    virtual ~Clock() = default;
    virtual std::int64_t nowMs() const = 0;
};

class SystemClock final : public Clock
{
public:
    std::int64_t nowMs() const override
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
            .count();
    }
};

class ManualClock final : public Clock
{
public:
    explicit ManualClock(std::int64_t startMs) : now_(startMs) {}
    std::int64_t nowMs() const override { return now_.load(); }
    void advance(std::chrono::milliseconds by) { now_ += by.count(); }

private:
    std::atomic<std::int64_t> now_;
};

} // namespace tailwise::backend
