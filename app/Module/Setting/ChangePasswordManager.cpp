#include "Module/Setting/ChangePasswordManager.h"

#include "Common/Network/API.h"
#include "Common/Network/APIManager.h"

void ChangePasswordManager::changePassword(const QString &userId, const QString &oldPassword,
                                           const QString &newPassword,
                                           DeletionCompletion completion)
{
    APIManager().apiCall(
        ApiHTTPMethod::POST, API::changePassword,
        QVariantMap{{QStringLiteral("user_id"), userId},
                    {QStringLiteral("old_password"), oldPassword},
                    {QStringLiteral("new_password"), newPassword}},
        [completion](const QVariantMap &answer) {
            const auto message = textField(answer, QStringLiteral("message"));
            if (isSuccessAnswer(answer))
                completion(true, message.value_or(QStringLiteral("Password changed")));
            else
                completion(false, message.value_or(temporaryErrorMessage));
        },
        [completion](const QMap<QString, QString> &failure) {
            completion(false, failure.value(QStringLiteral("message")));
        });
}
