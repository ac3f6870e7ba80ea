#pragma once

#include "Common/Models/User.h"
#include "Module/Login/AccountCompletions.h"
#include "Module/Login/SessionHooks.h"

#include <QImage>
#include <QVariantMap>

#include <memory>
#include <optional>

// The profile registration screen that follows sign-up: form check, the current profile and
// the first full profile with its picture. The hooks must outlive the manager's calls.
class RegisterProfileDataManager
{
public:
    explicit RegisterProfileDataManager(SessionHooks &hooks = SessionHooks::standard());

    // The last profile fetched; empty at creation.
    const std::optional<Profile> &profile() const { return *profile_; }

    // (false, "<field> is empty") for the first empty field, else (true, "").
    std::pair<bool, QString> isUserDataValid(const FormFields &fields) const;
    void fetchUserProfile(const QString &userId, ResultCompletion completion);
    void setUserProfile(const QVariantMap &parameters, const std::optional<QImage> &image,
                        ResultCompletion completion);

private:
    std::shared_ptr<std::optional<Profile>> profile_;
    SessionHooks *hooks_;
};
