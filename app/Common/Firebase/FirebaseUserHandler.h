#pragma once

#include "Platform/Database.h"

#include <QString>
#include <QVariant>
#include <QVariantMap>

// Writes the signed-in user's mirror record under the users root. It keeps no state; every
// write is fire-and-forget and queued by the database client.
class FirebaseUserHandler
{
public:
    explicit FirebaseUserHandler(Database &database = Database::database());

    // `userInfo` is a DSUser's firebaseInfo(). Replaces the whole record at Users/<id>.
    void save(const QVariantMap &userInfo) const;
    // Refreshes "name", "age", "gender", "device_token", "distance", "status" and
    // "profilePic" of Users/<id>, each after one read of its node; other keys stay.
    void update(const QVariantMap &userInfo) const;
    // Reads Users/<id> once: a user with a record gets update(), a user without one save().
    void mirror(const QVariantMap &userInfo) const;
    // One key of a user's record, e.g. the device token or the deactivation mark. Without a
    // user id nothing is written: the key would land at the users root.
    void setUserValue(const QString &userId, const QString &key, const QVariant &value) const;

private:
    DatabaseReference userNode(const QVariantMap &userInfo) const;

    Database *database_;
};
