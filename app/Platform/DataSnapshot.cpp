#include "Platform/DataSnapshot.h"

DataSnapshot::DataSnapshot(QString key, QVariant value, std::optional<DatabaseTree::Path> orderBy)
    : key_(std::move(key)), value_(std::move(value)), orderBy_(std::move(orderBy))
{}

DataSnapshot DataSnapshot::childSnapshot(const QString &forPath) const
{
    const DatabaseTree::Path path = DatabaseTree::parsePath(forPath);
    if (path.isEmpty())
        return *this;
    return DataSnapshot(path.last(), DatabaseTree::valueAt(value_, path));
}

bool DataSnapshot::hasChild(const QString &path) const
{
    return childSnapshot(path).exists() && !DatabaseTree::parsePath(path).isEmpty();
}

QList<DataSnapshot> DataSnapshot::children() const
{
    QList<DataSnapshot> result;
    const QVariantMap map = value_.toMap();
    for (const QString &key : DatabaseTree::orderedKeys(value_, orderBy_))
        result.append(DataSnapshot(key, map.value(key)));
    return result;
}

qsizetype DataSnapshot::childrenCount() const
{
    return value_.typeId() == QMetaType::QVariantMap ? value_.toMap().size() : 0;
}
