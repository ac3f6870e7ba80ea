#pragma once

#include "Module/Chat/Model/ChatModels.h"
#include "Platform/DatabaseReference.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <optional>

class Database;

// The two recent-chat entries of one conversation (RecentChatUserList/{owner}/{other}) and
// both participants' "reading now" flags (Tailwise_Chat/{conv}/receiverReadStatus/{uid} =
// {"read_status": bool}). An entry's counter counts what its owner has not read: a message
// raises the partner's counter unless the partner is reading the conversation at that moment.
//
// Callbacks never reach a helper that has gone; its observer goes with it.
class RecentListHelper : public QObject
{
    Q_OBJECT

public:
    // `age`, `distance` and `isFav` are the partner's, copied into the sender's entry. Group
    // conversations are not offered by any screen: for one, updateChatList() writes nothing.
    // Reads and writes go through `database`, the app's client unless given.
    RecentListHelper(const QString &senderId, const QString &receiverId, bool forGroup,
                     const QString &age, const QString &distance, const QString &isFav,
                     Database *database = nullptr, QObject *parent = nullptr);
    ~RecentListHelper() override;

    // Sets the signed-in user's own reading flag; true while the conversation is on screen.
    void isReadingMessage(bool flag);
    // Follows the partner's reading flag into receiverIsReadingMessage(); every value seen
    // (the first one too) is also marked in the sender's entry via updateSenderReadStaus().
    void observeIfReceiverIsReading();
    // The partner's counter, RecentChatUserList/{receiver}/{sender}/unReadMessageCount, read
    // once: (false, 0) when there is none or it cannot be read.
    void checkUnreadMessages(std::function<void(bool exists, int count)> callback);
    // Marks the sender's own entry: "receiverReadStatus" = flag and, when the entry has a
    // counter and flag is true, the counter 0. An entry that does not exist yet stays absent,
    // so that no half entry without "_id" turns up in the list.
    void updateSenderReadStaus(bool flag);
    // Writes both entries after `message` went out at `timeStamp` (ms since 1970).
    void updateChatList(const Message &message, double timeStamp);

    std::optional<bool> receiverIsReadingMessage() const { return receiverIsReadingMessage_; }
    int unreadMessageCount() const { return unreadMessageCount_; }

private:
    DatabaseReference entry(const QString &owner, const QString &other) const;

    QString senderId;
    QString receiverId;
    bool isGroup;
    QString age;
    QString distance;
    QString fav;
    std::optional<DatabaseReference> senderReadStatusRef;
    std::optional<DatabaseReference> receiverReadStatusRef;
    std::optional<bool> receiverIsReadingMessage_;
    int unreadMessageCount_ = 0;

    QPointer<Database> database_;
    DatabaseHandle readingObserver_ = 0;
};
