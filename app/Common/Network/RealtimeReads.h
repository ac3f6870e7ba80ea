#pragma once

#include <QString>
#include <QVariant>

#include <functional>
#include <optional>

// The one-off realtime-database reads the backend managers make: the signed-in user's node
// after a profile fetch and a favourite mark. The standard reads go through the app's
// database client; a read that fails answers "nothing there" and says so in the log. Managers
// take the reads in their constructor, standard() when given none.
class RealtimeReads
{
public:
    virtual ~RealtimeReads() = default;

    // The user's node under the users root; an empty map when there is none.
    virtual void readUserNode(const QString &userId,
                              std::function<void(const QVariantMap &node)> done) = 0;
    // Favourite/{userId}/{otherUserId}/Favourite; none when the node does not exist.
    virtual void
    readFavouriteMark(const QString &userId, const QString &otherUserId,
                      std::function<void(const std::optional<QVariant> &mark)> done) = 0;

    static RealtimeReads &standard();
    // nullptr restores the fallback. The reads are not owned. Answers the reads it replaces
    // (nullptr for the fallback), so that a scoped guard can put them back.
    static RealtimeReads *setStandard(RealtimeReads *reads);
};
