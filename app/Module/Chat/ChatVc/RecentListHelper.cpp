#include "Module/Chat/ChatVc/RecentListHelper.h"

#include "Common/Firebase/FirebaseNode.h"
#include "Platform/Database.h"
#include "Platform/Print.h"
#include "Platform/ServerValue.h"
#include "Platform/UI/Lifetime.h"

namespace {

const QString readStatusKey = QStringLiteral("read_status");

bool isNumber(const QVariant &value)
{
    const int type = value.typeId();
    return type == QMetaType::LongLong || type == QMetaType::Int || type == QMetaType::Double;
}

} // namespace

RecentListHelper::RecentListHelper(const QString &senderId, const QString &receiverId,
                                   bool forGroup, const QString &age, const QString &distance,
                                   const QString &isFav, Database *database, QObject *parent)
    : QObject(parent), senderId(senderId), receiverId(receiverId), isGroup(forGroup), age(age),
      distance(distance), fav(isFav), database_(database ? database : &Database::database())
{
    const DatabaseReference flags = database_->reference()
                                        .child(FirebaseNode::chat)
                                        .child(uniqueChatId(senderId, receiverId, forGroup))
                                        .child(FirebaseNode::readStatus);
    senderReadStatusRef = flags.child(senderId);
    receiverReadStatusRef = flags.child(receiverId);
}

RecentListHelper::~RecentListHelper()
{
    if (readingObserver_)
        receiverReadStatusRef->removeObserver(readingObserver_);
}

DatabaseReference RecentListHelper::entry(const QString &owner, const QString &other) const
{
    return senderReadStatusRef->root().child(FirebaseNode::chatList).child(owner).child(other);
}

void RecentListHelper::isReadingMessage(bool flag)
{
    senderReadStatusRef->setValue(QVariantMap{{readStatusKey, flag}});
}

void RecentListHelper::observeIfReceiverIsReading()
{
    if (readingObserver_)
        return;
    readingObserver_ = receiverReadStatusRef->observe(
        DataEventType::value,
        [this](const DataSnapshot &flag) {
            const QVariant value = flag.childSnapshot(readStatusKey).value();
            receiverIsReadingMessage_ = value.typeId() == QMetaType::Bool && value.toBool();
            updateSenderReadStaus(*receiverIsReadingMessage_);
        },
        [this](const QString &error) {
            readingObserver_ = 0;
            print(
                QStringLiteral("RecentListHelper: the reading flag of user %1 is not followed: %2")
                    .arg(receiverId, error));
        });
}

void RecentListHelper::checkUnreadMessages(std::function<void(bool, int)> callback)
{
    entry(receiverId, senderId)
        .child(FirebaseNode::unreadMessage)
        .getData(
            whileAlive(this, [this, callback = std::move(callback)](
                                 const std::optional<QString> &error, const DataSnapshot &counter) {
                if (error)
                    print(QStringLiteral("RecentListHelper: the unread counter of user %1 is not "
                                         "read: %2")
                              .arg(receiverId, *error));
                const bool exists = !error && isNumber(counter.value());
                unreadMessageCount_ = exists ? counter.value().toInt() : 0;
                callback(exists, unreadMessageCount_);
            }));
}

void RecentListHelper::updateSenderReadStaus(bool flag)
{
    const DatabaseReference own = entry(senderId, receiverId);
    own.getData(whileAlive(
        this, [own, flag](const std::optional<QString> &error, const DataSnapshot &stored) {
            if (error || !stored.exists())
                return;
            QVariantMap mark{{FirebaseNode::readStatus, flag}};
            if (flag && stored.hasChild(FirebaseNode::unreadMessage))
                mark.insert(FirebaseNode::unreadMessage, 0);
            own.updateChildValues(mark);
        }));
}

void RecentListHelper::updateChatList(const Message &message, double timeStamp)
{
    if (isGroup) {
        print(QStringLiteral("RecentListHelper: group conversations keep no recent entries"));
        return;
    }
    const QString kind = rawValue(message.messageType.value_or(MessageType::text));
    const qlonglong time = static_cast<qlonglong>(timeStamp);
    const bool partnerReads = receiverIsReadingMessage_.value_or(false);

    // The sender has the conversation open, so nothing in it is unread for the sender.
    entry(senderId, receiverId)
        .setValue(QVariantMap{{QStringLiteral("_id"), receiverId},
                              {QStringLiteral("last_message"), message.message},
                              {QStringLiteral("message_type"), kind},
                              {QStringLiteral("timeStamp"), time},
                              {FirebaseNode::unreadMessage, 0},
                              {FirebaseNode::readStatus, partnerReads},
                              {QStringLiteral("age"), age},
                              {QStringLiteral("distance"), distance},
                              {QStringLiteral("favourite"), fav}});

    // The partner's counter is raised by the server: reading it first and writing it back
    // would lose a message sent meanwhile (quick sends, a second device, writes queued while
    // offline), and a missing counter counts from 0 either way. The partner's own values
    // (age, favourite mark) are not ours to know and stay as they are.
    entry(receiverId, senderId)
        .updateChildValues({{QStringLiteral("_id"), senderId},
                            {QStringLiteral("last_message"), message.message},
                            {QStringLiteral("message_type"), kind},
                            {QStringLiteral("timeStamp"), time},
                            {FirebaseNode::unreadMessage,
                             partnerReads ? QVariant(0) : QVariant(ServerValue::increment(1))},
                            {QStringLiteral("distance"), distance}});
}
