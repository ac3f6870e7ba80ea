#pragma once

#include <QString>

// The device's push identifier, held in memory only; its published copy lives in the
// signed-in user's realtime-database record.
class DeviceToken
{
public:
    static DeviceToken &shared();

    QString deviceToken() const { return deviceToken_; }
    void setDeviceToken(const QString &token) { deviceToken_ = token; }

    // Publishes the token (empty until the push kit delivers one) at
    // Users/<signed-in user>/device_token.
    void updateDeviceToken();

private:
    DeviceToken() = default;
    QString deviceToken_;
};
