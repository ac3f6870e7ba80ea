#pragma once

#include "Module/Login/AccountCompletions.h"
#include "Module/Login/SessionHooks.h"

// Signs in with e-mail and password and stores the session.
class LoginDataManager
{
public:
    explicit LoginDataManager(SessionHooks &hooks = SessionHooks::standard());

    std::pair<bool, QString> isDataValid(const FormFields &fields) const;

    // Success calls back (true, none, 0 or 1: whether the profile still has to be filled
    // in). An answer of status "1" without an integer "is_new_account" makes no callback.
    void login(const QString &email, const QString &password, AccountCompletion success);

private:
    SessionHooks *hooks_;
};
