#include "Module/Register/ProfileRegister/RegisterProfileDataManager.h"

#include "Common/Network/API.h"
#include "Common/Network/APIManager.h"
#include "Module/Profile/ProfileAnswer.h"

RegisterProfileDataManager::RegisterProfileDataManager(SessionHooks &hooks)
    : profile_(std::make_shared<std::optional<Profile>>()), hooks_(&hooks)
{}

std::pair<bool, QString> RegisterProfileDataManager::isUserDataValid(const FormFields &fields) const
{
    if (auto empty = emptyFieldMessage(fields))
        return {false, *empty};
    return {true, QString()};
}

void RegisterProfileDataManager::fetchUserProfile(const QString &userId,
                                                  ResultCompletion completion)
{
    APIManager().apiCall(ApiHTTPMethod::POST, API::fetchUserProfile,
                         QVariantMap{{QStringLiteral("user_id"), userId}},
                         storeProfileOrFail(profile_, *hooks_, std::move(completion)),
                         logProfileFailure);
}

void RegisterProfileDataManager::setUserProfile(const QVariantMap &parameters,
                                                const std::optional<QImage> &image,
                                                ResultCompletion completion)
{
    sendProfileSave(API::setUserProfile, parameters, image, std::move(completion));
}
