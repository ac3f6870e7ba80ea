#include "Module/Login/LoginDataManager.h"

#include "Common/Network/API.h"
#include "Common/Network/APIManager.h"
#include "LoginDefaults.h"
#include "Platform/Print.h"

#include <cmath>

namespace {

// JSON integers; an integral floating-point number counts, true/false and texts do not.
std::optional<qlonglong> integerField(const QVariantMap &answer, const QString &key)
{
    const auto found = answer.constFind(key);
    if (found == answer.constEnd())
        return std::nullopt;
    switch (found->typeId()) {
    case QMetaType::Int:
    case QMetaType::LongLong:
        return found->toLongLong();
    case QMetaType::Double: {
        const double number = found->toDouble();
        if (std::isfinite(number) && std::trunc(number) == number)
            return static_cast<qlonglong>(number);
        return std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

} // namespace

LoginDataManager::LoginDataManager(SessionHooks &hooks) : hooks_(&hooks) {}

std::pair<bool, QString> LoginDataManager::isDataValid(const FormFields &fields) const
{
    return validateAccountFields(fields, false);
}

void LoginDataManager::login(const QString &email, const QString &password,
                             AccountCompletion success)
{
    const QVariantMap parameters{{QStringLiteral("email"), email},
                                 {QStringLiteral("password"), password}};
    SessionHooks *hooks = hooks_;
    APIManager().apiCall(
        ApiHTTPMethod::POST, API::login, parameters,
        [hooks, success](const QVariantMap &answer) {
            print(QStringLiteral("Login Results : ") + describeAnswer(answer));
            if (!isSuccessAnswer(answer)) {
                success(
                    false,
                    textField(answer, QStringLiteral("message")).value_or(temporaryErrorMessage),
                    std::nullopt);
                return;
            }
            const QVariantList users = answer.value(QStringLiteral("user_data")).toList();
            if (!users.isEmpty() && users.first().typeId() == QMetaType::QVariantMap) {
                const QVariantMap user = users.first().toMap();
                LoginDefaults session;
                session.setUserId(textField(user, QStringLiteral("user_id")));
                session.setUserToken(textField(user, QStringLiteral("userToken")));
                hooks->userDidSignIn(session.userId().value_or(QString()));
                hooks->mirrorSignedInUser(user);
            }
            const auto isNew = integerField(answer, QStringLiteral("is_new_account"));
            if (!isNew) {
                // The screen keeps waiting; the backend always sends the marker with success.
                print(QStringLiteral("Login Results : no integer is_new_account; no answer to "
                                     "the screen"));
                return;
            }
            success(true, std::nullopt, *isNew == 0 ? 0 : 1);
        },
        [success](const QMap<QString, QString> &failure) {
            success(false, failure.value(QStringLiteral("message")), std::nullopt);
        });
}
