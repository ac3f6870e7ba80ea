#include "Module/Chat/Model/ChatModels.h"

#include "Common/Extensions/FoundNil.h"
#include "Common/Models/DateMethods.h"
#include "Common/Models/User.h"
#include "Common/Network/API.h"
#include "NotificationAlert/DeviceToken.h"

#include <array>
#include <utility>

namespace {

constexpr std::array<std::pair<MessageType, const char *>, 3> messageTypeTexts = {{
    {MessageType::text, "text"},
    {MessageType::image, "image"},
    {MessageType::audio, "audio"},
}};

bool isNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

// The number under `key`, or 0 when it is missing or no number.
double numberValue(const QVariantMap &dictionary, const QString &key)
{
    const QVariant value = dictionary.value(key);
    return isNumber(value) ? value.toDouble() : 0;
}

QVariantMap dictionaryOf(const DataSnapshot &snapshot, const char *record)
{
    if (snapshot.value().typeId() != QMetaType::QVariantMap)
        foundNil(
            QStringLiteral("%1 %2 is no dictionary").arg(QLatin1String(record), snapshot.key()));
    return snapshot.value().toMap();
}

QString requiredText(const QVariantMap &dictionary, const QString &key, const QString &owner)
{
    const QVariant value = dictionary.value(key);
    if (value.typeId() != QMetaType::QString)
        foundNil(QStringLiteral("message %1 has no text \"%2\"").arg(owner, key));
    return value.toString();
}

} // namespace

QString rawValue(MessageType value)
{
    return rawValueText(messageTypeTexts, value);
}

template <>
std::optional<MessageType> fromRawValue<MessageType>(const QString &raw)
{
    return rawValueLookUp(messageTypeTexts, raw);
}

Message::Message(QString senderId, QString receiverId, QString message, QString key,
                 std::optional<MessageType> messageType, QString fileUrl, double timeStamp,
                 int imgPosition, bool isSent)
    : key(std::move(key)), senderId(std::move(senderId)), receiverId(std::move(receiverId)),
      message(std::move(message)), messageType(messageType), fileUrl(std::move(fileUrl)),
      timeStamp(timeStamp), imagePostion(imgPosition), sent(isSent)
{}

Message::Message(const DataSnapshot &snapshot) : key(snapshot.key())
{
    const QVariantMap values = dictionaryOf(snapshot, "message");
    senderId = requiredText(values, QStringLiteral("user_id"), key);
    receiverId = requiredText(values, QStringLiteral("receiverId"), key);
    const QString type = requiredText(values, QStringLiteral("message_type"), key);
    fileUrl = requiredText(values, QStringLiteral("file_url"), key);
    const QVariant stamp = values.value(QStringLiteral("timestamp"));
    if (!isNumber(stamp))
        foundNil(QStringLiteral("message %1 has no number \"timestamp\"").arg(key));
    timeStamp = stamp.toDouble();
    message = stringValue(values, QStringLiteral("message"));
    // Every kind the app does not know is played as audio.
    if (type == QLatin1String("text"))
        messageType = MessageType::text;
    else if (type == QLatin1String("image"))
        messageType = MessageType::image;
    else
        messageType = MessageType::audio;
}

QVariantMap Message::toAnyObject() const
{
    return {
        {QStringLiteral("user_id"), senderId},
        {QStringLiteral("receiverId"), receiverId},
        {QStringLiteral("message"), message},
        {QStringLiteral("message_type"), messageType ? rawValue(*messageType) : QString()},
        {QStringLiteral("image_pos"), imagePostion},
        {QStringLiteral("timestamp"), unixTimeStamp()},
        {QStringLiteral("file_url"), fileUrl},
        {QStringLiteral("isSent"), sent},
    };
}

ChatUser::ChatUser(const DataSnapshot &snapshot)
{
    const QVariantMap values = snapshot.value().typeId() == QMetaType::QVariantMap
                                   ? snapshot.value().toMap()
                                   : QVariantMap();
    userId = stringValue(values, QStringLiteral("_id"));
    distance = stringValue(values, QStringLiteral("distance"));
    favourite = stringValue(values, QStringLiteral("favourite"));
    lastMessage = stringValue(values, QStringLiteral("last_message"));
    mesageType = stringValue(values, QStringLiteral("message_type"));
    age = stringValue(values, QStringLiteral("age"));
    const QVariant read = values.value(QStringLiteral("receiverReadStatus"));
    receiverReadStatus = read.typeId() == QMetaType::Bool && read.toBool();
    unreadMessageCount = numberValue(values, QStringLiteral("unReadMessageCount"));
    timeStamp = numberValue(values, QStringLiteral("timeStamp"));
}

QVariantMap ChatUser::toAnyObject() const
{
    return {
        {QStringLiteral("_id"), userId},
        {QStringLiteral("distance"), distance},
        {QStringLiteral("favourite"), favourite},
        {QStringLiteral("message_type"), rawValue(MessageType::text)},
        {QStringLiteral("last_message"), lastMessage},
        {QStringLiteral("timeStamp"), unixTimeStamp()},
        {QStringLiteral("receiverReadStatus"), receiverReadStatus},
        {QStringLiteral("unReadMessageCount"), unreadMessageCount},
        {QStringLiteral("age"), age},
    };
}

DSUser::DSUser(const QVariantMap &dictionary)
    : id(stringValue(dictionary, QStringLiteral("user_id"))),
      name(stringValue(dictionary, QStringLiteral("Name"))),
      email(stringValue(dictionary, QStringLiteral("email"))),
      profilePic(stringValue(dictionary, QStringLiteral("profilePic"))),
      deviceToken(stringValue(dictionary, QStringLiteral("device_token"))),
      gender(stringValue(dictionary, QStringLiteral("gender"))),
      status(stringValue(dictionary, QStringLiteral("status"))),
      verify_status(stringValue(dictionary, QStringLiteral("verify_status"))),
      dogcount(stringValue(dictionary, QStringLiteral("dogs_count"))),
      distance(stringValue(dictionary, QStringLiteral("distance"))),
      dogname(stringValue(dictionary, QStringLiteral("dog_name"))),
      age(stringValue(dictionary, QStringLiteral("age"))),
      aboutstory(stringValue(dictionary, QStringLiteral("about"))),
      lastSeen(numberValue(dictionary, QStringLiteral("time_stamp")))
{}

QString DSUser::image() const
{
    return API::pictureAddress(profilePic);
}

QVariantMap DSUser::firebaseInfo() const
{
    return {
        {QStringLiteral("id"), id},
        {QStringLiteral("name"), name},
        {QStringLiteral("status"), QStringLiteral("Online")},
        {QStringLiteral("device_token"), DeviceToken::shared().deviceToken()},
        {QStringLiteral("profilePic"), profilePic.isEmpty() ? QString() : image()},
        {QStringLiteral("email"), email},
        {QStringLiteral("gender"), gender},
        {QStringLiteral("age"), age},
        {QStringLiteral("distance"), distance},
        {QStringLiteral("aboutstory"), aboutstory},
        {QStringLiteral("dogcount"), dogcount},
        {QStringLiteral("dogname"), dogname},
        {QStringLiteral("verify_status"), verify_status},
        {QStringLiteral("time_stamp"), unixTimeStamp()},
    };
}
