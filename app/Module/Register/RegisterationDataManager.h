#pragma once

#include "Module/Login/AccountCompletions.h"
#include "Module/Login/SessionHooks.h"

#include <QImage>
#include <QVariantMap>

// Creates an account (or, for a Google or Facebook identity, signs into the existing one)
// and stores the session.
class RegisterationDataManager
{
public:
    explicit RegisterationDataManager(SessionHooks &hooks = SessionHooks::standard());

    std::pair<bool, QString> isDataValid(const FormFields &fields) const;

    // Sends `parameters` as they are, plus, for "register_type" "gmail" or "facebook", the
    // sign-in kit's ID token as "id_token". The picture is not sent here: it is uploaded with
    // the profile once the account exists. Success calls back with the new-account marker 1 (new),
    // 0 (existing account) or -1 (the backend did not say; nothing stored).
    // ("register" is a C++ keyword.)
    void register_(const QVariantMap &parameters, const std::optional<QImage> &image,
                   AccountCompletion success);

private:
    SessionHooks *hooks_;
};
