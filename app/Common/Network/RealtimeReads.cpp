#include "Common/Network/RealtimeReads.h"

#include "Common/Firebase/FirebaseNode.h"
#include "Platform/Database.h"
#include "Platform/Print.h"

#include <QCoreApplication>

#include <utility>

namespace {

// An empty id would make the path name the whole node above it: answered "nothing there"
// without reading, on the event loop like any answer.
bool answeredForMissingId(const QStringList &ids, std::function<void()> answer)
{
    if (!ids.contains(QString()))
        return false;
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(answer),
                              Qt::QueuedConnection);
    return true;
}

// One-off reads through the app's database client. A read the server cannot answer counts
// as "nothing there", so that a screen waiting on it is not held up by the database.
class DatabaseReads final : public RealtimeReads
{
public:
    void readUserNode(const QString &userId, std::function<void(const QVariantMap &)> done) override
    {
        if (answeredForMissingId({userId}, [done] { done({}); }))
            return;
        Database::database()
            .reference()
            .child(FirebaseNode::users)
            .child(userId)
            .getData([userId, done = std::move(done)](const std::optional<QString> &error,
                                                      const DataSnapshot &node) {
                if (error)
                    print(QStringLiteral("Realtime database: node of user %1 not read: %2")
                              .arg(userId, *error));
                done(node.value().toMap());
            });
    }
    void readFavouriteMark(const QString &userId, const QString &otherUserId,
                           std::function<void(const std::optional<QVariant> &)> done) override
    {
        if (answeredForMissingId({userId, otherUserId}, [done] { done(std::nullopt); }))
            return;
        Database::database()
            .reference(favouriteMarkPath(userId, otherUserId))
            .getData([userId, otherUserId, done = std::move(done)](
                         const std::optional<QString> &error, const DataSnapshot &mark) {
                if (error)
                    print(QStringLiteral("Realtime database: favourite mark %1/%2 not read: %3")
                              .arg(userId, otherUserId, *error));
                done(mark.exists() ? std::optional<QVariant>(mark.value()) : std::nullopt);
            });
    }
};

DatabaseReads databaseReads;
RealtimeReads *installed = nullptr;

} // namespace

RealtimeReads &RealtimeReads::standard()
{
    return installed ? *installed : databaseReads;
}

RealtimeReads *RealtimeReads::setStandard(RealtimeReads *reads)
{
    return std::exchange(installed, reads);
}
