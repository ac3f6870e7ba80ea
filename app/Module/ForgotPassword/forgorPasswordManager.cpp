#include "Module/ForgotPassword/forgorPasswordManager.h"

#include "Common/Network/API.h"
#include "Common/Network/APIManager.h"
#include "Platform/Print.h"

std::pair<bool, QString> forgorPasswordManager::isDataValid(const FormFields &fields) const
{
    return validateAccountFields(fields, false);
}

void forgorPasswordManager::forgot(const QString &email, AccountCompletion success)
{
    APIManager().apiCall(
        ApiHTTPMethod::POST, API::forgotPassword, QVariantMap{{QStringLiteral("email"), email}},
        [success](const QVariantMap &answer) {
            print(QStringLiteral("forgptPassword Results : ") + describeAnswer(answer));
            if (isSuccessAnswer(answer))
                success(true, std::nullopt, std::nullopt);
            else
                success(
                    false,
                    textField(answer, QStringLiteral("message")).value_or(temporaryErrorMessage),
                    std::nullopt);
        },
        [success](const QMap<QString, QString> &failure) {
            success(false, failure.value(QStringLiteral("message")), std::nullopt);
        });
}
