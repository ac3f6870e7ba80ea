#pragma once

#include "Module/Login/AccountCompletions.h"

// Asks the backend to mail a new password.
class forgorPasswordManager
{
public:
    std::pair<bool, QString> isDataValid(const FormFields &fields) const;
    void forgot(const QString &email, AccountCompletion success);
};
