#pragma once

#include "Platform/DatabaseReference.h"

#include <QObject>
#include <QString>

#include <functional>
#include <optional>

// Whether one partner is online now ("Online" at Users/{uid}/status), for the chat header.
// One instance serves the app; a screen binds to isOnline and follows the partner it shows.
class OnlineNotification : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isOnline READ isOnline NOTIFY onlineStatusChanged)

public:
    static OnlineNotification &shared();

    // Reads the status once: true exactly for the text "Online"; false when it is missing or
    // cannot be read. Answers on the main thread.
    void fetchData(const QString &uid, std::function<void(bool)> success) const;
    // Follows userID's status from now on, instead of whoever was followed before.
    void fecthOnlineStatus(const QString &userID);

    bool isOnline() const { return isOnline_; }
    const std::optional<DatabaseReference> &userStatusRef() const { return userStatusRef_; }

Q_SIGNALS:
    void onlineStatusChanged(bool isOnline);

private:
    OnlineNotification() = default;
    void setOnline(bool online);

    std::optional<DatabaseReference> userStatusRef_;
    bool isOnline_ = false;
    DatabaseHandle observer_ = 0;
};
