#pragma once

#include "Common/Models/User.h"
#include "Module/Login/AccountCompletions.h"

#include <QByteArray>
#include <QImage>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

// What the profile endpoints answer: the profile as the first object of "data".
class ProfileAnswer
{
public:
    explicit ProfileAnswer(const QVariantMap &answer);

    // Set when "data" is an array whose first element is an object.
    const std::optional<Profile> &profile() const { return profile_; }
    const QVariantMap &profileDictionary() const { return dictionary_; }
    bool hasData() const { return hasData_; }

private:
    std::optional<Profile> profile_;
    QVariantMap dictionary_;
    bool hasData_ = false;
};

// The text a successful profile read reports; the screens use the stored profile, not it.
inline const QString profileFetchedMessage = QStringLiteral("Profile fetched");

class SessionHooks;

// The signed-in user's own profile refreshes the user mirror in the realtime database.
void mirrorOwnProfile(const ProfileAnswer &read, SessionHooks &hooks);

// The answer handling of a profile read that reports every unusable answer as
// (false, "Request failed!"): the first object of "data" replaces `stored` and is mirrored
// through `hooks` when it is the signed-in user's. The hooks must outlive the call.
std::function<void(const QVariantMap &)>
storeProfileOrFail(std::shared_ptr<std::optional<Profile>> stored, SessionHooks &hooks,
                   ResultCompletion completion);

// The picture as sent with a profile save: PNG at full size. None when encoding fails, so the
// save goes out without a file part.
std::optional<QByteArray> profilePictureData(const std::optional<QImage> &image);

// Sends a profile save as multipart with the picture under "profilePic" and reports
// (true, "Saved successfully!") for status "1", else (false, "Upload failed").
void sendProfileSave(const QString &endpoint, const QVariantMap &parameters,
                     const std::optional<QImage> &image, ResultCompletion completion);
