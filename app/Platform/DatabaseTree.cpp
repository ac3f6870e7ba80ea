#include "Platform/DatabaseTree.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <cmath>
#include <limits>

namespace DatabaseTree {
namespace {

// Integral doubles become qlonglong, so that 5.0 written here and 5 read back are one value.
QVariant number(double value)
{
    if (std::isfinite(value) && std::floor(value) == value && std::fabs(value) < 9.0e15)
        return QVariant(static_cast<qlonglong>(value));
    return QVariant(value);
}

QVariant fromJsonValue(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::Bool:
        return value.toBool();
    case QJsonValue::Double:
        if (const double d = value.toDouble(); std::floor(d) == d && std::fabs(d) < 9.0e18)
            return QVariant(static_cast<qlonglong>(value.toInteger(static_cast<qint64>(d))));
        return value.toDouble();
    case QJsonValue::String:
        return value.toString();
    case QJsonValue::Array: {
        QVariantMap children;
        const QJsonArray array = value.toArray();
        for (qsizetype i = 0; i < array.size(); ++i)
            if (QVariant child = fromJsonValue(array[i]); child.isValid())
                children.insert(QString::number(i), child);
        return children.isEmpty() ? QVariant() : QVariant(children);
    }
    case QJsonValue::Object: {
        QVariantMap children;
        const QJsonObject object = value.toObject();
        for (auto it = object.begin(); it != object.end(); ++it)
            if (QVariant child = fromJsonValue(it.value()); child.isValid())
                children.insert(it.key(), child);
        return children.isEmpty() ? QVariant() : QVariant(children);
    }
    default:
        return {};
    }
}

std::optional<qint32> integerKey(const QString &key)
{
    // Up to ten digits after any leading zeros, an optional minus, and within 32 bits.
    qsizetype i = key.startsWith(u'-') ? 1 : 0;
    while (i < key.size() - 1 && key[i] == u'0')
        ++i;
    const qsizetype digits = key.size() - i;
    if (digits < 1 || digits > 10)
        return std::nullopt;
    for (qsizetype j = i; j < key.size(); ++j)
        if (!key[j].isDigit() || key[j].unicode() > u'9')
            return std::nullopt;
    bool ok = false;
    const qlonglong value = key.toLongLong(&ok);
    if (!ok || value < std::numeric_limits<qint32>::min() ||
        value > std::numeric_limits<qint32>::max())
        return std::nullopt;
    return static_cast<qint32>(value);
}

int typeRank(const QVariant &value)
{
    if (!value.isValid())
        return 0;
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool() ? 2 : 1;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float:
        return 3;
    case QMetaType::QString:
        return 4;
    default:
        return 5;
    }
}

} // namespace

Path parsePath(const QString &text)
{
    return text.split(u'/', Qt::SkipEmptyParts);
}

QString pathText(const Path &path)
{
    return u'/' + path.join(u'/');
}

bool contains(const Path &outer, const Path &inner)
{
    if (inner.size() < outer.size())
        return false;
    for (qsizetype i = 0; i < outer.size(); ++i)
        if (outer[i] != inner[i])
            return false;
    return true;
}

QVariant normalised(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::QString:
    case QMetaType::LongLong:
        return value;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::Short:
        return QVariant(value.toLongLong());
    case QMetaType::ULongLong:
    case QMetaType::ULong:
    case QMetaType::Double:
    case QMetaType::Float:
        return number(value.toDouble());
    case QMetaType::QVariantMap: {
        QVariantMap children;
        const QVariantMap map = value.toMap();
        for (auto it = map.begin(); it != map.end(); ++it)
            if (QVariant child = normalised(it.value()); child.isValid())
                children.insert(it.key(), child);
        return children.isEmpty() ? QVariant() : QVariant(children);
    }
    case QMetaType::QVariantHash: {
        QVariantMap map;
        const QVariantHash hash = value.toHash();
        for (auto it = hash.begin(); it != hash.end(); ++it)
            map.insert(it.key(), it.value());
        return normalised(map);
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        QVariantMap children;
        const QVariantList list = value.toList();
        for (qsizetype i = 0; i < list.size(); ++i)
            if (QVariant child = normalised(list[i]); child.isValid())
                children.insert(QString::number(i), child);
        return children.isEmpty() ? QVariant() : QVariant(children);
    }
    case QMetaType::QJsonValue:
        return fromJsonValue(value.toJsonValue());
    default:
        if (value.canConvert<QString>() && value.isValid() && !value.isNull())
            return value.toString();
        return {};
    }
}

QVariant valueAt(const QVariant &root, const Path &path)
{
    QVariant node = root;
    for (const QString &key : path) {
        if (node.typeId() != QMetaType::QVariantMap)
            return {};
        node = node.toMap().value(key);
    }
    return node;
}

static void setBelow(QVariant &node, const Path &path, qsizetype at, const QVariant &value)
{
    if (at == path.size()) {
        node = value;
        return;
    }
    if (node.typeId() != QMetaType::QVariantMap && !value.isValid())
        return;
    QVariantMap children = node.typeId() == QMetaType::QVariantMap ? node.toMap() : QVariantMap();
    QVariant child = children.value(path[at]);
    setBelow(child, path, at + 1, value);
    if (child.isValid())
        children.insert(path[at], child);
    else
        children.remove(path[at]);
    node = children.isEmpty() ? QVariant() : QVariant(children);
}

void setAt(QVariant &root, const Path &path, const QVariant &value)
{
    setBelow(root, path, 0, value);
}

bool keyLess(const QString &a, const QString &b)
{
    const std::optional<qint32> numberA = integerKey(a);
    const std::optional<qint32> numberB = integerKey(b);
    if (numberA && numberB)
        return *numberA != *numberB ? *numberA < *numberB : a.size() < b.size();
    if (numberA || numberB)
        return numberA.has_value();
    return a < b;
}

bool orderedLess(const QString &keyA, const QVariant &a, const QString &keyB, const QVariant &b,
                 const std::optional<Path> &orderBy)
{
    if (orderBy) {
        const QVariant byA = valueAt(a, *orderBy);
        const QVariant byB = valueAt(b, *orderBy);
        const int rankA = typeRank(byA);
        const int rankB = typeRank(byB);
        if (rankA != rankB)
            return rankA < rankB;
        if (rankA == 3 && byA.toDouble() != byB.toDouble())
            return byA.toDouble() < byB.toDouble();
        if (rankA == 4 && byA.toString() != byB.toString())
            return byA.toString() < byB.toString();
    }
    return keyLess(keyA, keyB);
}

QStringList orderedKeys(const QVariant &value, const std::optional<Path> &orderBy)
{
    if (value.typeId() != QMetaType::QVariantMap)
        return {};
    const QVariantMap children = value.toMap();
    QStringList keys = children.keys();
    std::sort(keys.begin(), keys.end(), [&](const QString &a, const QString &b) {
        return orderedLess(a, children.value(a), b, children.value(b), orderBy);
    });
    return keys;
}

QVariant resolveServerValues(const QVariant &value, const QVariant &existing, qint64 nowMs)
{
    if (value.typeId() != QMetaType::QVariantMap)
        return value;
    const QVariantMap map = value.toMap();
    if (map.size() == 1 && map.contains(QStringLiteral(".sv"))) {
        const QVariant what = map.value(QStringLiteral(".sv"));
        if (what == QStringLiteral("timestamp"))
            return QVariant(static_cast<qlonglong>(nowMs));
        const QVariant delta = what.toMap().value(QStringLiteral("increment"));
        if (typeRank(delta) == 3) {
            if (typeRank(existing) != 3)
                return delta;
            if (delta.typeId() == QMetaType::Double || existing.typeId() == QMetaType::Double)
                return delta.toDouble() + existing.toDouble();
            return delta.toLongLong() + existing.toLongLong();
        }
        return value;
    }
    QVariantMap resolved;
    for (auto it = map.begin(); it != map.end(); ++it)
        resolved.insert(it.key(),
                        resolveServerValues(it.value(), valueAt(existing, {it.key()}), nowMs));
    return resolved;
}

QByteArray toJson(const QVariant &value)
{
    const QByteArray wrapped =
        QJsonDocument(QJsonArray{QJsonValue::fromVariant(value)}).toJson(QJsonDocument::Compact);
    return wrapped.mid(1, wrapped.size() - 2);
}

std::optional<QVariant> fromJson(const QByteArray &json)
{
    // QJsonDocument reads only objects and arrays; a bare value is read as an array's item.
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson('[' + json + ']', &error);
    if (error.error != QJsonParseError::NoError || !document.isArray() ||
        document.array().size() != 1)
        return std::nullopt;
    return fromJsonValue(document.array().first());
}

std::optional<QVariantMap> fromJsonObject(const QByteArray &json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    QVariantMap children;
    const QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it)
        children.insert(it.key(), fromJsonValue(it.value()));
    return children;
}

} // namespace DatabaseTree
