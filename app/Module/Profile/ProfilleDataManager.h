#pragma once

#include "Common/Models/User.h"
#include "Common/Network/RealtimeReads.h"
#include "Module/Login/AccountCompletions.h"
#include "Module/Login/SessionHooks.h"

#include <QImage>
#include <QVariantMap>

#include <memory>
#include <optional>

// The signed-in user's profile screen: fetch, save with a new picture, and the online or
// offline report. Calls the REST layer cannot complete are logged and answer nobody.
// The last fetched profile outlives the manager's callbacks, so a screen may drop the
// manager while a call is under way; the hooks and reads it is given must outlive the calls.
class ProfilleDataManager
{
public:
    explicit ProfilleDataManager(SessionHooks &hooks = SessionHooks::standard(),
                                 RealtimeReads &reads = RealtimeReads::standard());

    // The last profile fetched; empty at creation.
    const std::optional<Profile> &profile() const { return *profile_; }

    void fetchProfile(const QString &userId, ResultCompletion completion);
    void saveProfile(const QVariantMap &parameters, const std::optional<QImage> &image,
                     ResultCompletion completion);
    // "Offline" goes out fire-and-forget and never calls back.
    void updateOnlineOfflineStatus(const QString &userId, const QString &status,
                                   ResultCompletion completion);

private:
    std::shared_ptr<std::optional<Profile>> profile_;
    SessionHooks *hooks_;
    RealtimeReads *reads_;
};
