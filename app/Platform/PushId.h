#pragma once

#include <QString>

// Keys for childByAutoId: 20 characters that sort by creation time. Eight characters carry
// the time in ms, twelve are random; ids made in the same millisecond reuse the previous
// random part plus one, so one generator's ids strictly increase.
class PushIdGenerator
{
public:
    QString next(qint64 nowMs);

private:
    qint64 lastTime_ = -1;
    int random_[12] = {};
};
