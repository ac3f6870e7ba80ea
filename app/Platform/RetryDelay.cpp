#include "Platform/RetryDelay.h"

#include <QRandomGenerator>
#include <QtGlobal>

#include <algorithm>

namespace {

constexpr int firstRetryMs = 250;
constexpr int longestRetryMs = 30'000;

} // namespace

int retryDelay(int attempt)
{
    const qint64 grown = qint64(firstRetryMs) << std::clamp(attempt, 0, 16);
    const auto bounded = static_cast<int>(std::min<qint64>(grown, longestRetryMs));
    return bounded / 2 + static_cast<int>(QRandomGenerator::global()->bounded(bounded / 2 + 1));
}
