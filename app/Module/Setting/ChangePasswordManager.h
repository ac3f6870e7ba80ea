#pragma once

#include "Module/Login/AccountCompletions.h"

// Changes the signed-in user's password. The backend ends the user's other sessions; this
// one stays signed in.
class ChangePasswordManager
{
public:
    // Calls back (true, the backend's text) or (false, its reason). Unlike deactivation it
    // also calls back when no answer arrives, with "Temporary error occured!".
    void changePassword(const QString &userId, const QString &oldPassword,
                        const QString &newPassword, DeletionCompletion completion);
};
