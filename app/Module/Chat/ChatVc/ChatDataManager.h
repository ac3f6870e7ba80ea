#pragma once

#include "Module/Chat/ChatVc/RecentListHelper.h"
#include "Module/Chat/Model/ChatModels.h"
#include "Platform/DatabaseReference.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class Database;
class OneSignal;

// The chat screen's side of its manager. Every call comes on the main thread, after the
// message is in ChatDataManager::messages().
class ChatDataManagerDelegate
{
public:
    virtual ~ChatDataManagerDelegate() = default;
    // A message was appended to messages().
    virtual void messageReceived() = 0;
    // The whole list should be drawn again. This manager only ever appends, so it does not
    // ask for it today.
    virtual void reloadMessages() = 0;
    // Row `index` of messages() is new; called just before messageReceived(). A list model
    // keeps its own row count and inserts this one row, so a long history costs one row per
    // message, never a reset.
    virtual void messageAppended(qsizetype index) = 0;
};

// One open conversation of the signed-in user with one partner: its messages as they arrive,
// sending text, both recent-list entries and the push to the partner. It lives as long as
// the chat screen; its observers go with it.
class ChatDataManager : public QObject
{
    Q_OBJECT

public:
    // The partner's id, age, distance and favourite mark. The signed-in user is the one
    // LoginDefaults holds now. Reads and writes go through `database` and pushes through
    // `oneSignal`, the app's own unless given.
    ChatDataManager(const QString &receiverId, const QString &age, const QString &distance,
                    const QString &favourite, Database *database = nullptr,
                    OneSignal *oneSignal = nullptr, QObject *parent = nullptr);
    ~ChatDataManager() override;

    // Writes a text message; it reaches messages() through the stream like any other.
    void sendMessage(const QString &text);
    // The stream of the whole conversation, oldest first; started by the constructor.
    void listenToChat();
    // Would publish whether the signed-in user is typing. This manager is never given a
    // typing location, so it writes nothing.
    void user(bool isTyping);
    // Would report changes of the partner's typing flag; never calls back, for the same
    // reason.
    void listenToTyping(std::function<void(bool)> callback);

    const QList<Message> &messages() const { return messages_; }
    ChatDataManagerDelegate *delegate() const { return delegate_; }
    void setDelegate(ChatDataManagerDelegate *delegate) { delegate_ = delegate; }
    // The partner's push settings record, Notifications/{receiverId}.
    const std::optional<DatabaseReference> &notificationRefOnOff() const
    {
        return notificationRefOnOff_;
    }
    // The reading flags and both entries of this conversation; the screen sets its own flag
    // (isReadingMessage) while the conversation is on display.
    RecentListHelper *recentHelper() const { return recentHelper_.get(); }

private:
    void setUpReferences();
    // Appends what the stream delivered since the last call and tells the delegate, one
    // message at a time, in the order of the stream.
    void deliverArrived();
    // Posts the titled push when the partner's "message" setting is "on".
    void announce(const QString &text);

    QString senderId;
    QString receiverId;
    QString profilePic;
    QString age;
    QString distance;
    QString favourite;
    std::optional<DatabaseReference> messagesRef;
    std::optional<DatabaseReference> senderTypingRef;
    std::optional<DatabaseReference> receiverTypingRef;
    std::optional<DatabaseReference> notificationRefOnOff_;
    const QString dataURLNotSetKey = QStringLiteral("NOTSET");
    QList<Message> messages_;
    ChatDataManagerDelegate *delegate_ = nullptr;
    std::unique_ptr<RecentListHelper> recentHelper_;

    QPointer<Database> database_;
    QPointer<OneSignal> oneSignal_;
    DatabaseHandle messagesObserver_ = 0;
    DatabaseHandle typingObserver_ = 0;
    QList<Message> arrived_; // parsed, not yet handed to the delegate
};
