#include "Platform/ServerValue.h"

QVariantMap ServerValue::timestamp()
{
    return {{QStringLiteral(".sv"), QStringLiteral("timestamp")}};
}

QVariantMap ServerValue::increment(qlonglong delta)
{
    return {{QStringLiteral(".sv"), QVariantMap{{QStringLiteral("increment"), delta}}}};
}
