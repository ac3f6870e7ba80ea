#pragma once

#include "Platform/DataSnapshot.h"
#include "Platform/DatabaseTree.h"

#include <QPointer>
#include <QString>
#include <QVariant>

#include <functional>
#include <optional>

class Database;
class DatabaseReference;

enum class DataEventType
{
    childAdded,
    childChanged,
    childRemoved,
    value
};

using DatabaseHandle = qint64;
using DataEventCallback = std::function<void(const DataSnapshot &)>;
// A one-off read: the value, or why it could not be had.
using GetDataCompletion =
    std::function<void(const std::optional<QString> &error, const DataSnapshot &snapshot)>;
// Called once the server has stored a write (no error) or refused it (the reason).
using WriteCompletion = std::function<void(const std::optional<QString> &error)>;
// Called instead of further events when the server will not let this client listen (any
// more): the reason. The observer is removed by then.
using DataCancelCallback = std::function<void(const QString &error)>;

// Which children of a location a listener sees, and in which order.
struct QueryParams
{
    enum class Limit
    {
        none,
        first,
        last
    };
    std::optional<DatabaseTree::Path> orderBy; // ordered by key when absent
    Limit limit = Limit::none;
    int count = 0;
    bool operator==(const QueryParams &) const = default;
};

// A location with an order and limits. Events are raised on the main thread's event loop,
// never inside the call that asked for them.
class DatabaseQuery
{
public:
    DatabaseHandle observe(DataEventType eventType, DataEventCallback callback,
                           DataCancelCallback withCancel = {}) const;
    // Raises the first event of the type once, then forgets the callback.
    void observeSingleEvent(DataEventType eventType, DataEventCallback callback,
                            DataCancelCallback withCancel = {}) const;
    void removeObserver(DatabaseHandle withHandle) const;
    void removeAllObservers() const;
    // The current value from the listened cache when there is one, else from the server; an
    // error instead of waiting when the server cannot be reached.
    void getData(GetDataCompletion completion) const;

    // Order and limits are applied here, over the whole location, which is what the stream
    // carries: the server keeps no index for them and the hosted service needs none.
    DatabaseQuery queryOrderedByChild(const QString &key) const;
    DatabaseQuery queryLimitedToFirst(int limit) const;
    DatabaseQuery queryLimitedToLast(int limit) const;

    DatabaseReference ref() const;
    const DatabaseTree::Path &path() const { return path_; }
    const QueryParams &params() const { return params_; }

protected:
    DatabaseQuery(QPointer<Database> database, DatabaseTree::Path path, QueryParams params);
    Database *live() const;

    QPointer<Database> database_;
    DatabaseTree::Path path_;
    QueryParams params_;
};

// A location in the database. Writes change the local view at once (raising their events)
// and are sent in order; when the server cannot be reached they wait on disk.
class DatabaseReference : public DatabaseQuery
{
public:
    DatabaseReference child(const QString &pathString) const;
    // A child under a new push id: ids made later sort later.
    DatabaseReference childByAutoId() const;

    void setValue(const QVariant &value, WriteCompletion completion = {}) const;
    // Each key (which may be a path, "a/b") replaces that child; the others stay.
    void updateChildValues(const QVariantMap &values, WriteCompletion completion = {}) const;
    void removeValue(WriteCompletion completion = {}) const;
    // Asks the server to remove this location when this client's connection goes away.
    void onDisconnectRemoveValue() const;

    // The last key; empty at the root.
    QString key() const { return path_.isEmpty() ? QString() : path_.last(); }
    std::optional<DatabaseReference> parent() const;
    DatabaseReference root() const;
    QString pathString() const { return DatabaseTree::pathText(path_); }
    bool operator==(const DatabaseReference &other) const
    {
        return database_ == other.database_ && path_ == other.path_;
    }

private:
    friend class Database;
    friend class DatabaseQuery;
    DatabaseReference(QPointer<Database> database, DatabaseTree::Path path);
};
