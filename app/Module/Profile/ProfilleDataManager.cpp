#include "Module/Profile/ProfilleDataManager.h"

#include "Common/Network/API.h"
#include "Common/Network/APIManager.h"
#include "LoginDefaults.h"
#include "Module/Profile/ProfileAnswer.h"
#include "Platform/Print.h"

ProfilleDataManager::ProfilleDataManager(SessionHooks &hooks, RealtimeReads &reads)
    : profile_(std::make_shared<std::optional<Profile>>()), hooks_(&hooks), reads_(&reads)
{}

void ProfilleDataManager::fetchProfile(const QString &userId, ResultCompletion completion)
{
    auto stored = profile_;
    APIManager().apiCall(
        ApiHTTPMethod::POST, API::fetchUserProfile,
        QVariantMap{{QStringLiteral("user_id"), userId}},
        [stored, hooks = hooks_, reads = reads_, completion](const QVariantMap &answer) {
            const ProfileAnswer read(answer);
            if (read.profile()) {
                print(QStringLiteral("userProfile Result ; ") +
                      describeAnswer(read.profileDictionary()));
                *stored = read.profile();
                mirrorOwnProfile(read, *hooks);
                // The realtime node is read once so that it is cached before the screen
                // shows the profile; its content does not change what the backend said.
                const QString signedIn = LoginDefaults().userId().value_or(QString());
                reads->readUserNode(signedIn, [completion](const QVariantMap &node) {
                    print(QStringLiteral("userProfile Firebase ; ") + describeAnswer(node));
                    completion(true, profileFetchedMessage);
                });
            } else if (!read.hasData()) {
                completion(false, textField(answer, QStringLiteral("message"))
                                      .value_or(QStringLiteral("User does not exist!")));
            } else {
                completion(false, QStringLiteral("Request failed!"));
            }
        },
        logProfileFailure);
}

void ProfilleDataManager::saveProfile(const QVariantMap &parameters,
                                      const std::optional<QImage> &image,
                                      ResultCompletion completion)
{
    sendProfileSave(API::saveUserProfile, parameters, image, std::move(completion));
}

void ProfilleDataManager::updateOnlineOfflineStatus(const QString &userId, const QString &status,
                                                    ResultCompletion completion)
{
    APIManager().apiCall(
        ApiHTTPMethod::POST, API::updateStatus,
        QVariantMap{{QStringLiteral("user_id"), userId}, {QStringLiteral("status"), status}},
        storeProfileOrFail(profile_, *hooks_, std::move(completion)), logProfileFailure);
}
