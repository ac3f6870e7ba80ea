#pragma once

#include <QString>

#include <functional>

// The device's push identifier, held in memory only; its published copy lives in the
// signed-in user's realtime-database record.
class DeviceToken
{
public:
    // Writes `token` at users/<userId>/device_token in the realtime database.
    using DatabaseWriter = std::function<void(const QString &userId, const QString &token)>;

    static DeviceToken &shared();

    QString deviceToken() const { return deviceToken_; }
    void setDeviceToken(const QString &token) { deviceToken_ = token; }

    // Publishes the token (empty until the push kit delivers one) for the signed-in user.
    void updateDeviceToken();

    // Extension point: the realtime-database client installs the writer. Until it does,
    // updateDeviceToken() writes nothing and says so in the log.
    void setDatabaseWriter(DatabaseWriter writer) { writer_ = std::move(writer); }

private:
    DeviceToken() = default;
    QString deviceToken_;
    DatabaseWriter writer_;
};
