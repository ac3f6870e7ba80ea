#pragma once

#include "Module/Login/AccountCompletions.h"
#include "Module/Login/SessionHooks.h"

// Deactivation and logout of the signed-in account. Neither calls back when no answer
// arrives at all, so their screens must not wait for one.
class DeleteDataManager
{
public:
    explicit DeleteDataManager(SessionHooks &hooks = SessionHooks::standard());

    void deleteUserAccopunt(const QString &userId, const QString &reason, const QString &message,
                            DeletionCompletion completion);
    void logoutUserAccopunt(const QString &userId, DeletionCompletion completion);
    // Marks the signed-in user deactivated in the realtime database, then ends the local
    // session. `userId` is not used: the mark always goes to the signed-in user's node.
    void deleteUserFromFirebase(const QString &userId);

private:
    SessionHooks *hooks_;
};
