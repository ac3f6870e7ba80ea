#include "Module/Profile/ProfileAnswer.h"

#include "Common/Network/APIManager.h"
#include "LoginDefaults.h"
#include "Module/Login/SessionHooks.h"
#include "Platform/Print.h"

#include <QBuffer>

ProfileAnswer::ProfileAnswer(const QVariantMap &answer)
{
    const auto data = answer.constFind(QStringLiteral("data"));
    hasData_ = data != answer.constEnd();
    if (!hasData_ || data->typeId() != QMetaType::QVariantList)
        return;
    const QVariantList rows = data->toList();
    if (rows.isEmpty() || rows.first().typeId() != QMetaType::QVariantMap)
        return;
    dictionary_ = rows.first().toMap();
    profile_ = Profile(dictionary_);
}

void mirrorOwnProfile(const ProfileAnswer &read, SessionHooks &hooks)
{
    // Another user's profile is that user's to publish.
    if (read.profile() && read.profile()->id == LoginDefaults().userId())
        hooks.mirrorSignedInUser(read.profileDictionary());
}

std::function<void(const QVariantMap &)>
storeProfileOrFail(std::shared_ptr<std::optional<Profile>> stored, SessionHooks &hooks,
                   ResultCompletion completion)
{
    return [stored = std::move(stored), hooks = &hooks,
            completion = std::move(completion)](const QVariantMap &answer) {
        const ProfileAnswer read(answer);
        if (!read.profile()) {
            completion(false, QStringLiteral("Request failed!"));
            return;
        }
        print(QStringLiteral("userProfile Result ; ") + describeAnswer(read.profileDictionary()));
        *stored = read.profile();
        mirrorOwnProfile(read, *hooks);
        completion(true, profileFetchedMessage);
    };
}

std::optional<QByteArray> profilePictureData(const std::optional<QImage> &image)
{
    if (!image)
        return std::nullopt;
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (image->isNull() || !image->save(&buffer, "PNG")) {
        print(QStringLiteral("Save Profile : the picture could not be encoded as PNG; sent "
                             "without it"));
        return std::nullopt;
    }
    return png;
}

void sendProfileSave(const QString &endpoint, const QVariantMap &parameters,
                     const std::optional<QImage> &image, ResultCompletion completion)
{
    APIManager().apiCallWithFormData(
        ApiHTTPMethod::POST, endpoint, parameters, QStringLiteral("profilePic"),
        profilePictureData(image), QStringLiteral("image"),
        [completion](const QVariantMap &answer) {
            print(QStringLiteral("Save Profile : ") + describeAnswer(answer));
            if (isSuccessAnswer(answer))
                completion(true, QStringLiteral("Saved successfully!"));
            else
                completion(false, QStringLiteral("Upload failed"));
        },
        [completion](const QMap<QString, QString> &) {
            completion(false, QStringLiteral("Upload failed"));
        });
}
