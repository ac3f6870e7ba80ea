#include "Module/Login/SessionHooks.h"

#include "Platform/Print.h"

namespace {

class NotWiredHooks final : public SessionHooks
{
public:
    void userDidSignIn(const QString &userId) override
    {
        print(QStringLiteral("NotificationAlert: not wired yet; notification record of user %1 "
                             "not checked")
                  .arg(userId));
    }
    void mirrorSignedInUser(const QVariantMap &userData) override
    {
        print(QStringLiteral("FirebaseUserHandler: not wired yet; user %1 not mirrored")
                  .arg(userData.value(QStringLiteral("user_id")).toString()));
    }
    void markUserDeactivated(const QString &userId) override
    {
        print(QStringLiteral("FirebaseUserHandler: not wired yet; user %1 not marked "
                             "deactivated")
                  .arg(userId));
    }
};

NotWiredHooks notWired;
SessionHooks *installed = nullptr;

} // namespace

SessionHooks &SessionHooks::standard()
{
    return installed ? *installed : notWired;
}

void SessionHooks::setStandard(SessionHooks *hooks)
{
    installed = hooks;
}
