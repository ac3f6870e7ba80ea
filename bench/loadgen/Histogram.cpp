#include "Histogram.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace tailwise::loadgen {

namespace {

constexpr unsigned linearBits = 7; // values below 2^7 get a bucket each
constexpr std::uint64_t linearBuckets = 1u << linearBits;
constexpr std::uint64_t halfBuckets = linearBuckets / 2;
// Anything longer than 2^32 us (71 minutes) is clamped; every run is bounded far below that.
constexpr unsigned maxBits = 32;
constexpr std::uint64_t maxTracked = (std::uint64_t{1} << maxBits) - 1;
constexpr std::size_t bucketCount = linearBuckets + (maxBits - linearBits) * halfBuckets;

} // namespace

LatencyHistogram::LatencyHistogram() : counts_(bucketCount, 0) {}

std::size_t LatencyHistogram::bucketOf(std::uint64_t micros)
{
    if (micros < linearBuckets)
        return static_cast<std::size_t>(micros);
    // Shift so the value keeps its top linearBits bits; the top bit is always set, which
    // leaves halfBuckets distinct sub-buckets per power of two.
    const unsigned shift = static_cast<unsigned>(std::bit_width(micros)) - linearBits;
    return static_cast<std::size_t>(linearBuckets + (shift - 1) * halfBuckets +
                                    ((micros >> shift) - halfBuckets));
}

std::uint64_t LatencyHistogram::representative(std::size_t bucket)
{
    if (bucket < linearBuckets)
        return bucket;
    const std::uint64_t above = bucket - linearBuckets;
    const unsigned shift = static_cast<unsigned>(above / halfBuckets) + 1;
    const std::uint64_t low = (halfBuckets + above % halfBuckets) << shift;
    return low + ((std::uint64_t{1} << shift) >> 1);
}

void LatencyHistogram::record(std::chrono::microseconds latency)
{
    const auto micros = std::min<std::uint64_t>(
        static_cast<std::uint64_t>(std::max<std::int64_t>(latency.count(), 0)), maxTracked);
    ++counts_[bucketOf(micros)];
    ++count_;
    max_ = std::max(max_, micros);
}

void LatencyHistogram::merge(const LatencyHistogram &other)
{
    for (std::size_t i = 0; i < counts_.size(); ++i)
        counts_[i] += other.counts_[i];
    count_ += other.count_;
    max_ = std::max(max_, other.max_);
}

std::uint64_t LatencyHistogram::percentileMicros(double p) const
{
    if (count_ == 0)
        return 0;
    p = std::clamp(p, 0.0, 100.0);
    const auto rank = std::max<std::uint64_t>(
        1, static_cast<std::uint64_t>(std::ceil(p / 100.0 * static_cast<double>(count_))));
    std::uint64_t seen = 0;
    for (std::size_t i = 0; i < counts_.size(); ++i) {
        seen += counts_[i];
        // The top occupied bucket holds the maximum, which we know exactly.
        if (seen >= rank)
            return seen == count_ ? max_ : std::min(representative(i), max_);
    }
    return max_;
}

} // namespace tailwise::loadgen
