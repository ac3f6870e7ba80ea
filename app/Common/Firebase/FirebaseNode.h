#pragma once

#include <QString>

// Names of the realtime database's nodes and keys. Paths are always built from these.
namespace FirebaseNode {

inline const QString groups = QStringLiteral("Groups");
inline const QString chat = QStringLiteral("Tailwise_Chat");
inline const QString users = QStringLiteral("Users");
inline const QString test = QStringLiteral("TestNode");
inline const QString typing = QStringLiteral("Typing");
inline const QString deviceToken = QStringLiteral("device_token");
inline const QString chatList = QStringLiteral("RecentChatUserList");
inline const QString messages = QStringLiteral("Messages");
inline const QString readStatus = QStringLiteral("receiverReadStatus");
inline const QString unreadMessage = QStringLiteral("unReadMessageCount");
inline const QString name = QStringLiteral("name");
inline const QString notification = QStringLiteral("Notifications");
inline const QString imageRef = QStringLiteral("image");
inline const QString dataProtection = QStringLiteral("DataProtection");
inline const QString favourite = QStringLiteral("Favourite");
inline const QString status = QStringLiteral("status");

} // namespace FirebaseNode

// The key of the one-to-one conversation of two users, the same from either side: the smaller
// id, "_", the larger. Ids are whole numbers (an optional sign and decimal digits, with nothing
// around them); any other text stops the app.
QString conversationId(const QString &firstUserId, const QString &secondUserId);
// A group's conversation is keyed by the group's own id, `secondId`.
QString uniqueChatId(const QString &firstId, const QString &secondId, bool forGroup);
// Favourite/<userId>/<otherUserId>/Favourite: the mark userId set on otherUserId.
QString favouriteMarkPath(const QString &userId, const QString &otherUserId);
