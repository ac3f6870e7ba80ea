#pragma once

#include <QString>

#include <functional>

// One-off reads of what a partner shows others: presence, last seen, privacy choices and
// favourite marks. Each answers once, on the main thread, with the documented default when
// the value is missing or cannot be read.
class StatusHandler
{
public:
    using TextAnswer = std::function<void(const QString &)>;

    // Users/{uid}/status; "Offline" when absent.
    void isOnline(const QString &uid, TextAnswer success) const;
    // Users/{uid}/time_stamp as local time for the chat header; "" when absent.
    void lastSeenOnline(const QString &uid, TextAnswer success) const;
    // DataProtection/{uid}/lastseen_status; "" when absent.
    void userDataPro(const QString &uid, TextAnswer success) const;
    // DataProtection/{uid}/img_status; "" when absent.
    void userImgStatus(const QString &uid, TextAnswer success) const;
    // Favourite/{me}/{uid}/Favourite: the signed-in user's mark of uid; "0" when absent.
    void isFavUser(const QString &uid, TextAnswer success) const;
    // Favourite/{uid}/{otherUid}/Favourite: whether uid has marked otherUid.
    void hasMarked(const QString &uid, const QString &otherUid,
                   std::function<void(bool)> success) const;
};

// Who may see a picture or a last-seen time: the owner's choice ("Anybody", "Nobody",
// "Only Favourite") and whether the owner has marked the viewer as a favourite. An unknown or
// missing choice counts as "Anybody", the default of a new account.
bool isVisibleUnder(const QString &ownersChoice, bool ownerMarkedViewer);
