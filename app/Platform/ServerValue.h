#pragma once

#include <QVariantMap>

// Placeholders the database server replaces when it stores a write.
namespace ServerValue {
// {".sv": "timestamp"}: the server's time in ms since 1970.
QVariantMap timestamp();
// {".sv": {"increment": delta}}: adds delta to the number stored there.
QVariantMap increment(qlonglong delta);
} // namespace ServerValue
