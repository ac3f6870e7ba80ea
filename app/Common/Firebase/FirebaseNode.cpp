#include "Common/Firebase/FirebaseNode.h"

#include "Common/Extensions/FoundNil.h"

#include <QStringList>

namespace {

// A sign and decimal digits, nothing else. toLongLong alone would also take " 12" or "12\t" and
// the blanks would end up in the conversation's key.
bool isWholeNumberText(const QString &text)
{
    const qsizetype digitsFrom = text.startsWith(u'-') || text.startsWith(u'+') ? 1 : 0;
    if (text.size() == digitsFrom)
        return false;
    for (qsizetype i = digitsFrom; i < text.size(); ++i)
        if (text[i] < u'0' || text[i] > u'9')
            return false;
    return true;
}

qlonglong userNumber(const QString &userId)
{
    bool ok = false;
    const qlonglong number = isWholeNumberText(userId) ? userId.toLongLong(&ok) : 0;
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
