#pragma once

#include <QString>
#include <QVariantMap>

// What follows a backend answer outside the backend: the push-settings hand-over
// (NotificationAlert), the realtime-database user mirror and the deactivation mark. Those
// subsystems install their implementation with setStandard(); until one is installed the
// fallback does nothing but report in the log that the step is not wired.
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

    static SessionHooks &standard();
    // nullptr restores the fallback. The hooks are not owned.
    static void setStandard(SessionHooks *hooks);
};
