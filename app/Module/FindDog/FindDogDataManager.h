#pragma once

#include "Common/Models/User.h"
#include "Common/Network/RealtimeReads.h"
#include "Module/Login/AccountCompletions.h"

#include <QList>

#include <functional>
#include <memory>

// Partner search and the favourites list. `userData` holds the rows of the latest list
// answer in the backend's order; read it from the completion only, and start no second list
// call before the first one's rows are read. The reads must outlive the manager's calls.
class FindDogDataManager
{
public:
    explicit FindDogDataManager(RealtimeReads &reads = RealtimeReads::standard());

    const QList<User> &userData() const { return *userData_; }

    // One page of a list: the backend answers 1 to 100 rows a page, pages 0 to 19.
    struct Page
    {
        int size = 50;
        int number = 0;
    };

    // `userId` is the signed-in user; it travels in the address, the filter in the body.
    void fetchallUsers(const QString &userId, const QString &filter, ResultCompletion completion);
    // The same for a page further down the list.
    void fetchallUsers(const QString &userId, const QString &filter, Page page,
                       ResultCompletion completion);
    void getFavUsers(const QString &userId, const QString &filter, ResultCompletion completion);
    void getFavUsers(const QString &userId, const QString &filter, Page page,
                     ResultCompletion completion);
    // `favouriteStatus` is the new mark: "1" marks, "0" unmarks.
    void createFavUser(const QString &userId, const QString &favouriteId,
                       const QString &favouriteStatus, ResultCompletion completion);
    // Whether the signed-in user has marked `otherUserId`, read once from the realtime
    // database: true only for the text "1".
    void isFaveUser(const QString &otherUserId, std::function<void(bool)> completion);

    // The failure texts of a list answer without usable rows.
    struct ListTexts
    {
        QString noData;       // no "data" and no "message"
        QString unusableData; // "data" present but not an array of objects; empty: as noData
    };

private:
    void fetchList(const QString &endpoint, const QString &userId, const QVariantMap &parameters,
                   const ListTexts &texts, ResultCompletion completion);

    std::shared_ptr<QList<User>> userData_;
    RealtimeReads *reads_;
};
