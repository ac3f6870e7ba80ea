#pragma once

#include "Platform/DatabaseTree.h"

#include <QList>
#include <QString>
#include <QVariant>

#include <optional>

// What the realtime database held at one location when an event was raised. The value is a
// QVariantMap for an object, a QString, qlonglong, double or bool for a leaf, and an invalid
// QVariant when nothing is there. children() follows the order of the query that raised it.
class DataSnapshot
{
public:
    DataSnapshot() = default;
    DataSnapshot(QString key, QVariant value,
                 std::optional<DatabaseTree::Path> orderBy = std::nullopt);

    // The last key of the location; empty at the root.
    QString key() const { return key_; }
    QVariant value() const { return value_; }
    bool exists() const { return value_.isValid(); }
    // The child at a relative path ("a" or "a/b"); a snapshot without value when absent.
    DataSnapshot childSnapshot(const QString &forPath) const;
    bool hasChild(const QString &path) const;
    QList<DataSnapshot> children() const;
    qsizetype childrenCount() const;

private:
    QString key_;
    QVariant value_;
    std::optional<DatabaseTree::Path> orderBy_;
};
