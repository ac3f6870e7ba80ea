#include "Module/Chat/ChatVc/ChatDataManager.h"

#include "Common/Firebase/FirebaseNode.h"
#include "Common/Models/DateMethods.h"
#include "LoginDefaults.h"
#include "NotificationAlert/NotificationAlert.h"
#include "NotificationAlert/PushNotificationHandler.h"
#include "Platform/Database.h"
#include "Platform/OneSignal.h"
#include "Platform/Print.h"
#include "Platform/UI/DispatchQueue.h"

#include <utility>

ChatDataManager::ChatDataManager(const QString &receiverId, const QString &age,
                                 const QString &distance, const QString &favourite,
                                 Database *database, OneSignal *oneSignal, QObject *parent)
    : QObject(parent), senderId(LoginDefaults().userId().value_or(QString())),
      receiverId(receiverId), age(age), distance(distance), favourite(favourite),
      database_(database ? database : &Database::database()), oneSignal_(oneSignal)
{
    recentHelper_ = std::make_unique<RecentListHelper>(senderId, receiverId, false, age, distance,
                                                       favourite, database_.data());
    // Without the partner's reading flag every message would count as unread for the partner.
    recentHelper_->observeIfReceiverIsReading();
    setUpReferences();
}

ChatDataManager::~ChatDataManager()
{
    if (messagesObserver_)
        messagesRef->removeObserver(messagesObserver_);
    if (typingObserver_)
        receiverTypingRef->removeObserver(typingObserver_);
}

void ChatDataManager::setUpReferences()
{
    const DatabaseReference conversation = database_->reference()
                                               .child(FirebaseNode::chat)
                                               .child(conversationId(senderId, receiverId));
    messagesRef = conversation.child(FirebaseNode::messages);
    // The typing references stay empty on purpose: typing is never published or followed.
    notificationRefOnOff_ =
        database_->reference().child(FirebaseNode::notification).child(receiverId);
    listenToChat();
}

void ChatDataManager::listenToChat()
{
    if (messagesObserver_)
        return;
    messagesObserver_ = messagesRef->observe(
        DataEventType::childAdded,
        [this](const DataSnapshot &stored) {
            // Parsed at once, so that a malformed record stops the app where it was read.
            arrived_.append(Message(stored));
            // A long history arrives as a burst of events: one hop to the main queue serves
            // all of them.
            if (arrived_.size() == 1)
                DispatchQueue::main().async([this] { deliverArrived(); }, this);
        },
        [this](const QString &error) {
            messagesObserver_ = 0;
            print(QStringLiteral("ChatDataManager: the messages of %1 are not followed: %2")
                      .arg(messagesRef->pathString(), error));
        });
}

void ChatDataManager::deliverArrived()
{
    const QList<Message> batch = std::exchange(arrived_, {});
    const QPointer<ChatDataManager> alive(this);
    for (const Message &message : batch) {
        messages_.append(message);
        if (!delegate_)
            continue;
        delegate_->messageAppended(messages_.size() - 1);
        if (!alive)
            return;
        delegate_->messageReceived();
        if (!alive)
            return;
    }
}

void ChatDataManager::sendMessage(const QString &text)
{
    const double now = unixTimeStamp();
    const Message message(senderId, receiverId, text, QString(), MessageType::text,
                          dataURLNotSetKey, now, 0, false);
    messagesRef->childByAutoId().setValue(message.toAnyObject());
    recentHelper_->updateChatList(message, now);
    announce(text);
}

void ChatDataManager::announce(const QString &text)
{
    // Not tied to this manager: a screen closed right after sending still announces it.
    const QPointer<Database> database = database_;
    const QPointer<OneSignal> oneSignal = oneSignal_;
    const QString sender = senderId;
    const QString receiver = receiverId;
    notificationRefOnOff_->getData([=](const std::optional<QString> &error,
                                       const DataSnapshot &settings) {
        if (error || !database ||
            settings.value().toMap().value(NotificationSetting::message) != NotificationSetting::on)
            return;
        // The heading names the sender as the partner knows them.
        database->reference()
            .child(FirebaseNode::users)
            .child(sender)
            .child(FirebaseNode::name)
            .getData([=](const std::optional<QString> &, const DataSnapshot &name) {
                if (!database)
                    return;
                const QString heading = name.value().typeId() == QMetaType::QString
                                            ? name.value().toString()
                                            : QString();
                PushNotificationHandler(database, oneSignal)
                    .sendNotificationMessage(heading, receiver, text);
            });
    });
}

void ChatDataManager::user(bool isTyping)
{
    if (!senderTypingRef)
        return;
    senderTypingRef->setValue(QVariantMap{{QStringLiteral("isTyping"), isTyping}});
    // A client that crashes or loses its connection must not leave "typing" behind.
    senderTypingRef->onDisconnectRemoveValue();
}

void ChatDataManager::listenToTyping(std::function<void(bool)> callback)
{
    if (!receiverTypingRef)
        return;
    if (typingObserver_)
        receiverTypingRef->removeObserver(typingObserver_);
    // Changes only: the partner's state when the screen opens is not reported.
    typingObserver_ =
        receiverTypingRef->observe(DataEventType::childChanged,
                                   [callback = std::move(callback)](const DataSnapshot &isTyping) {
                                       callback(isTyping.value().toBool());
                                   });
}
