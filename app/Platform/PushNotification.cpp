#include "Platform/PushNotification.h"

std::optional<PushNotification> PushNotification::fromUserInfo(const QVariantMap &userInfo)
{
    const QVariant aps = userInfo.value(QStringLiteral("aps"));
    if (aps.typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    const QVariantMap apsMap = aps.toMap();
    PushNotification notification;
    notification.userInfo = userInfo;
    const QVariant alert = apsMap.value(QStringLiteral("alert"));
    if (alert.typeId() == QMetaType::QVariantMap) {
        notification.title = alert.toMap().value(QStringLiteral("title")).toString();
        notification.body = alert.toMap().value(QStringLiteral("body")).toString();
    } else if (alert.typeId() == QMetaType::QString) {
        notification.body = alert.toString();
    }
    bool isNumber = false;
    const qlonglong badge = apsMap.value(QStringLiteral("badge")).toLongLong(&isNumber);
    if (isNumber)
        notification.badge = badge;
    notification.identifier =
        userInfo.value(QStringLiteral("custom")).toMap().value(QStringLiteral("i")).toString();
    return notification;
}
