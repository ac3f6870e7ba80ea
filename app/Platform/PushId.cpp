#include "Platform/PushId.h"

#include <QRandomGenerator>

namespace {
// In ASCII order, so that comparing ids as text compares their times.
constexpr char alphabet[] = "-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";
} // namespace

QString PushIdGenerator::next(qint64 nowMs)
{
    if (nowMs <= lastTime_) {
        // Same millisecond (or a clock set back): keep the order by counting on.
        nowMs = lastTime_;
        int i = 11;
        while (i >= 0 && random_[i] == 63)
            random_[i--] = 0;
        if (i >= 0)
            ++random_[i];
    } else {
        for (int &digit : random_)
            digit = static_cast<int>(QRandomGenerator::global()->bounded(64));
    }
    lastTime_ = nowMs;

    QString id(20, u'-');
    qint64 time = nowMs;
    for (int i = 7; i >= 0; --i) {
        id[i] = QLatin1Char(alphabet[time % 64]);
        time /= 64;
    }
    for (int i = 0; i < 12; ++i)
        id[8 + i] = QLatin1Char(alphabet[random_[i]]);
    return id;
}
