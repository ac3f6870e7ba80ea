#include "Module/Register/RegisterationDataManager.h"

#include "Common/Network/API.h"
#include "Common/Network/APIManager.h"
#include "LoginDefaults.h"
#include "Platform/Print.h"

RegisterationDataManager::RegisterationDataManager(SessionHooks &hooks) : hooks_(&hooks) {}

std::pair<bool, QString> RegisterationDataManager::isDataValid(const FormFields &fields) const
{
    return validateAccountFields(fields, true);
}

void RegisterationDataManager::register_(const QVariantMap &parameters,
                                         const std::optional<QImage> &image,
                                         AccountCompletion success)
{
    Q_UNUSED(image)
    print(QStringLiteral("Register : ") + describeAnswer(parameters));
    SessionHooks *hooks = hooks_;
    APIManager().apiCall(
        ApiHTTPMethod::POST, API::register_, parameters,
        [hooks, success](const QVariantMap &answer) {
            print(QStringLiteral("Result : ") + describeAnswer(answer));
            const auto message = textField(answer, QStringLiteral("message"));
            if (!isSuccessAnswer(answer)) {
                success(false, message.value_or(temporaryErrorMessage), std::nullopt);
                return;
            }
            const auto isNew = textField(answer, QStringLiteral("is_new_account"));
            if (!isNew) {
                success(true, message, -1);
                return;
            }
            LoginDefaults session;
            session.setUserId(textField(answer, QStringLiteral("user_id")));
            session.setUserToken(textField(answer, QStringLiteral("userToken")));
            hooks->userDidSignIn(session.userId().value_or(QString()));
            success(true, message, *isNew == QLatin1String("false") ? 0 : 1);
        },
        [success](const QMap<QString, QString> &failure) {
            success(false, failure.value(QStringLiteral("message")), std::nullopt);
        });
}
