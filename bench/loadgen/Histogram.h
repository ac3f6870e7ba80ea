#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

namespace tailwise::loadgen {

// Latencies in microseconds, log-linear like HdrHistogram: exact below 128 us, then 64 buckets
// per power of two, so a reported percentile is within 1% of the true value. The size is fixed
// (about 14 KiB) however many requests are recorded, so one per connection stays cheap even at
// 1024 connections and needs no locking.
class LatencyHistogram
{
public:
    LatencyHistogram();

    void record(std::chrono::microseconds latency);
    void merge(const LatencyHistogram &other);

    std::uint64_t count() const { return count_; }
    std::uint64_t maxMicros() const { return max_; }
    // p in [0, 100]; 0 when nothing was recorded.
    std::uint64_t percentileMicros(double p) const;

private:
    static std::size_t bucketOf(std::uint64_t micros);
    static std::uint64_t representative(std::size_t bucket);

    std::vector<std::uint64_t> counts_;
    std::uint64_t count_ = 0;
    std::uint64_t max_ = 0;
};

} // namespace tailwise::loadgen
