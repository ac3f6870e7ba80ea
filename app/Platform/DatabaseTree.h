#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

// The realtime database's JSON tree as the client holds it: objects are QVariantMaps, leaves
// are QString, qlonglong, double or bool, and an invalid QVariant is "nothing there". Values
// are kept normalised (no nulls, no empty objects, arrays as objects keyed "0", "1", ...), so
// two equal trees compare equal with ==.
namespace DatabaseTree {

using Path = QStringList;

// "a/b/c" (leading, trailing and doubled slashes ignored) to {"a", "b", "c"}.
Path parsePath(const QString &text);
QString pathText(const Path &path);
// Whether `inner` is `outer` or lies below it.
bool contains(const Path &outer, const Path &inner);

QVariant normalised(const QVariant &value);
QVariant valueAt(const QVariant &root, const Path &path);
// Replaces what is at `path`; an absent value deletes it, and objects left empty vanish.
void setAt(QVariant &root, const Path &path, const QVariant &value);

// The database's key order: 32-bit integer keys numerically first, then the rest as text.
bool keyLess(const QString &a, const QString &b);
// The order of children by the value of their child at `orderBy` (a path): absent, false,
// true, numbers, strings, objects; ties by key.
bool orderedLess(const QString &keyA, const QVariant &a, const QString &keyB, const QVariant &b,
                 const std::optional<Path> &orderBy);
// The children's keys of an object in the given order; empty for leaves.
QStringList orderedKeys(const QVariant &value, const std::optional<Path> &orderBy);

// Replaces the server-value placeholders of a write with what the server will make of them,
// as well as the client can tell: {".sv": "timestamp"} by the local clock, an increment by
// adding to `existing`. Unknown placeholders stay as they are (the server refuses them).
QVariant resolveServerValues(const QVariant &value, const QVariant &existing, qint64 nowMs);

QByteArray toJson(const QVariant &value);
// Parses a JSON document or a bare JSON value; nullopt when it is not JSON.
std::optional<QVariant> fromJson(const QByteArray &json);
// An object's children, those set to null included (as invalid values): the shape of a
// multi-location update, where null deletes.
std::optional<QVariantMap> fromJsonObject(const QByteArray &json);

} // namespace DatabaseTree
