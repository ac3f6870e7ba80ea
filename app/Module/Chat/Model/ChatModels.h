#pragma once

#include "Common/Extensions/RawValue.h"
#include "Platform/DataSnapshot.h"

#include <QString>
#include <QVariantMap>

#include <optional>

// The kind of a chat message.
enum class MessageType
{
    text,
    image,
    audio
};

QString rawValue(MessageType value);
template <>
std::optional<MessageType> fromRawValue<MessageType>(const QString &raw);

// One chat message under a conversation's node.
struct Message
{
    // A message composed on this device.
    Message(QString senderId, QString receiverId, QString message, QString key,
            std::optional<MessageType> messageType, QString fileUrl, double timeStamp,
            int imgPosition, bool isSent);
    // A stored message. Every message is written with all of its keys, so a snapshot that
    // lacks one (or is no dictionary) is a programming error and stops the app.
    explicit Message(const DataSnapshot &snapshot);

    // What is written: the stored "timestamp" is the time of writing, not `timeStamp`.
    QVariantMap toAnyObject() const;

    QString key;
    QString senderId;
    QString receiverId;
    QString message;
    std::optional<MessageType> messageType;
    QString fileUrl;
    double timeStamp = 0;
    QString senderProfilePic; // set by the chat screen from the partner's profile
    int imagePostion = 0;
    bool sent = false;
};

// One row of a user's recent-chat list. Reading never fails: what is missing stays default.
struct ChatUser
{
    ChatUser() = default;
    explicit ChatUser(const DataSnapshot &snapshot);

    // Written with "message_type" "text" and the time of writing.
    QVariantMap toAnyObject() const;

    QString distance;
    QString userId;
    QString favourite;
    QString lastMessage;
    QString mesageType;
    QString age;
    bool receiverReadStatus = false;
    double unreadMessageCount = 0;
    double timeStamp = 0;
};

// The mirror of a signed-in user under the users root, filled from the backend's user
// dictionary and written with the database's own keys.
struct DSUser
{
    DSUser() = default;
    explicit DSUser(const QVariantMap &dictionary);

    // What is written at Users/<id>: status "Online", the device token held now and the time
    // of writing.
    QVariantMap firebaseInfo() const;
    // The picture to publish when no picture of our own is stored: the backend's address for
    // the stored picture name, else empty.
    QString image() const;

    QString id;
    QString name;
    QString email;
    QString profilePic;
    QString deviceToken;
    QString gender;
    QString status;
    QString verify_status;
    QString dogcount;
    QString distance;
    QString dogname;
    QString age;
    QString aboutstory;
    double lastSeen = 0;
};
