#include "Module/Register/RegisterationDataManager.h"

#include "Common/Network/API.h"
#include "Common/Network/APIManager.h"
#include "LoginDefaults.h"
#include "Platform/Print.h"
#include "Platform/SignInKits.h"

namespace {

// A Google or Facebook sign-in is proven to the backend by the ID token the kit holds.
std::optional<QString> socialIdToken(const QVariantMap &parameters)
{
    const QString type = parameters.value(QStringLiteral("register_type")).toString();
    if (type == QLatin1String("gmail")) {
        const auto user = GIDSignIn::sharedInstance().currentUser();
        return user ? std::optional(user->idToken) : std::nullopt;
    }
    if (type == QLatin1String("facebook"))
        return AuthenticationToken::current();
    return std::nullopt;
}

} // namespace

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
    QVariantMap sent = parameters;
    if (const auto idToken = socialIdToken(parameters))
        sent.insert(QStringLiteral("id_token"), *idToken);
    print(QStringLiteral("Register : ") + describeAnswer(sent));
    SessionHooks *hooks = hooks_;
    APIManager().apiCall(
        ApiHTTPMethod::POST, API::register_, sent,
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
