#include "Platform/DatabaseReference.h"

#include "Platform/Database.h"
#include "Platform/Print.h"

DatabaseQuery::DatabaseQuery(QPointer<Database> database, DatabaseTree::Path path,
                             QueryParams params)
    : database_(std::move(database)), path_(std::move(path)), params_(std::move(params))
{}

Database *DatabaseQuery::live() const
{
    if (!database_)
        print(QStringLiteral("Database: %1 used after its database went away; ignored")
                  .arg(DatabaseTree::pathText(path_)));
    return database_.data();
}

DatabaseHandle DatabaseQuery::observe(DataEventType eventType, DataEventCallback callback,
                                      DataCancelCallback withCancel) const
{
    Database *database = live();
    return database ? database->addObserver(path_, params_, eventType, std::move(callback),
                                            std::move(withCancel), false)
                    : 0;
}

void DatabaseQuery::observeSingleEvent(DataEventType eventType, DataEventCallback callback,
                                       DataCancelCallback withCancel) const
{
    if (Database *database = live())
        database->addObserver(path_, params_, eventType, std::move(callback), std::move(withCancel),
                              true);
}

void DatabaseQuery::removeObserver(DatabaseHandle withHandle) const
{
    if (database_)
        database_->removeObserver(withHandle);
}

void DatabaseQuery::removeAllObservers() const
{
    if (database_)
        database_->removeAllObservers(path_);
}

void DatabaseQuery::getData(GetDataCompletion completion) const
{
    if (Database *database = live())
        database->getData(path_, params_, std::move(completion));
}

DatabaseQuery DatabaseQuery::queryOrderedByChild(const QString &key) const
{
    QueryParams params = params_;
    params.orderBy = DatabaseTree::parsePath(key);
    return DatabaseQuery(database_, path_, params);
}

DatabaseQuery DatabaseQuery::queryLimitedToFirst(int limit) const
{
    QueryParams params = params_;
    params.limit = QueryParams::Limit::first;
    params.count = limit;
    return DatabaseQuery(database_, path_, params);
}

DatabaseQuery DatabaseQuery::queryLimitedToLast(int limit) const
{
    QueryParams params = params_;
    params.limit = QueryParams::Limit::last;
    params.count = limit;
    return DatabaseQuery(database_, path_, params);
}

DatabaseReference DatabaseQuery::ref() const
{
    return DatabaseReference(database_, path_);
}

DatabaseReference::DatabaseReference(QPointer<Database> database, DatabaseTree::Path path)
    : DatabaseQuery(std::move(database), std::move(path), {})
{}

DatabaseReference DatabaseReference::child(const QString &pathString) const
{
    return DatabaseReference(database_, path_ + DatabaseTree::parsePath(pathString));
}

DatabaseReference DatabaseReference::childByAutoId() const
{
    Database *database = live();
    return child(database ? database->nextPushId() : QString());
}

void DatabaseReference::setValue(const QVariant &value, WriteCompletion completion) const
{
    if (Database *database = live())
        database->write("PUT", path_, value, std::move(completion));
}

void DatabaseReference::updateChildValues(const QVariantMap &values,
                                          WriteCompletion completion) const
{
    if (Database *database = live())
        database->write("PATCH", path_, values, std::move(completion));
}

void DatabaseReference::removeValue(WriteCompletion completion) const
{
    if (Database *database = live())
        database->write("DELETE", path_, QVariant(), std::move(completion));
}

void DatabaseReference::onDisconnectRemoveValue() const
{
    if (Database *database = live())
        database->removeOnDisconnect(path_);
}

std::optional<DatabaseReference> DatabaseReference::parent() const
{
    if (path_.isEmpty())
        return std::nullopt;
    return DatabaseReference(database_, path_.mid(0, path_.size() - 1));
}

DatabaseReference DatabaseReference::root() const
{
    return DatabaseReference(database_, {});
}
