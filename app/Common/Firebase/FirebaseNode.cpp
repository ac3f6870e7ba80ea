#include "Common/Firebase/FirebaseNode.h"

#include "Common/Extensions/FoundNil.h"

#include <QStringList>

namespace {

qlonglong userNumber(const QString &userId)
{
    bool ok = false;
    const qlonglong number = userId.toLongLong(&ok);
    if (!ok)
        foundNil(QStringLiteral("user id \"%1\" is no whole number").arg(userId));
    return number;
}

} // namespace

QString conversationId(const QString &firstUserId, const QString &secondUserId)
{
    const qlonglong first = userNumber(firstUserId);
    const qlonglong second = userNumber(secondUserId);
    if (first < second)
        return firstUserId + u'_' + secondUserId;
    // Equal numbers ("07" and "7") keep the argument order reversed, as larger-first does.
    return secondUserId + u'_' + firstUserId;
}

QString uniqueChatId(const QString &firstId, const QString &secondId, bool forGroup)
{
    return forGroup ? secondId : conversationId(firstId, secondId);
}

QString favouriteMarkPath(const QString &userId, const QString &otherUserId)
{
    return QStringList{FirebaseNode::favourite, userId, otherUserId, FirebaseNode::favourite}.join(
        u'/');
}
