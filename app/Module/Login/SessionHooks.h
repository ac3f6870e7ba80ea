#pragma once

#include <QString>
#include <QVariantMap>

class Database;

// What follows a backend answer outside the backend: the push-settings hand-over
// (NotificationAlert), the realtime-database user mirror and the deactivation mark.
class SessionHooks
{
public:
    virtual ~SessionHooks() = default;

    // A session was stored: NotificationAlert makes sure the user's notification record
    // exists.
    virtual void userDidSignIn(const QString &userId) = 0;
    // The backend's user dictionary after sign-in, to be mirrored into the users root of the
    // realtime database.
    virtual void mirrorSignedInUser(const QVariantMap &userData) = 0;
    // In the user's realtime node: "activate_status" = "Deactivate", "device_token" = "".
    virtual void markUserDeactivated(const QString &userId) = 0;

    // AppSessionHooks on the app's database client unless others are set. Managers take the
    // hooks in their constructor; this is what they get when given none.
    static SessionHooks &standard();
    // nullptr restores the app's own. The hooks are not owned. Answers the hooks it replaces
    // (nullptr for the app's own), so that a scoped guard can put them back.
    static SessionHooks *setStandard(SessionHooks *hooks);
};

// The mirror and the deactivation mark go to `database` (the app's client when none is
// given); the notification record is seeded through the app's client.
class AppSessionHooks : public SessionHooks
{
public:
    explicit AppSessionHooks(Database *database = nullptr) : database_(database) {}

    void userDidSignIn(const QString &userId) override;
    void mirrorSignedInUser(const QVariantMap &userData) override;
    void markUserDeactivated(const QString &userId) override;

private:
    Database &database() const;

    Database *database_;
};
