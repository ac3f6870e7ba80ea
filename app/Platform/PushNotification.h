#pragma once

#include <QString>
#include <QVariantMap>

#include <optional>

// A remote notification as the phone hands it to the app: what its alert shows and the whole
// payload, {"aps": {"alert": {"title", "body"}, "badge"}, "custom": {"i", "a"}}.
struct PushNotification
{
    QString identifier; // "custom"/"i"
    QString title;
    QString body;
    std::optional<qlonglong> badge;
    QVariantMap userInfo;

    // None when the payload carries no "aps" map. The alert may be a map or a bare text (the
    // body), as a phone accepts both.
    static std::optional<PushNotification> fromUserInfo(const QVariantMap &userInfo);
};

// The user opened a delivered notification.
struct NotificationResponse
{
    PushNotification notification;
};
