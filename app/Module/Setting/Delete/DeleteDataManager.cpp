#include "Module/Setting/Delete/DeleteDataManager.h"

#include "Common/Network/API.h"
#include "Common/Network/APIManager.h"
#include "LoginDefaults.h"

namespace {

void sendAccountAction(const QString &endpoint, const QVariantMap &parameters,
                       const QString &doneText, const QString &fallback,
                       DeletionCompletion completion)
{
    APIManager().apiCall(
        ApiHTTPMethod::POST, endpoint, parameters,
        [doneText, fallback, completion](const QVariantMap &answer) {
            const auto message = textField(answer, QStringLiteral("message"));
            if (isSuccessAnswer(answer))
                completion(true, message.value_or(doneText));
            else
                completion(false, message.value_or(fallback));
        },
        logProfileFailure);
}

} // namespace

DeleteDataManager::DeleteDataManager(SessionHooks &hooks) : hooks_(&hooks) {}

void DeleteDataManager::deleteUserAccopunt(const QString &userId, const QString &reason,
                                           const QString &message, DeletionCompletion completion)
{
    sendAccountAction(API::deleteAccount,
                      {{QStringLiteral("user_id"), userId},
                       {QStringLiteral("reason"), reason},
                       {QStringLiteral("message"), message}},
                      QStringLiteral("Account deactivated"), QStringLiteral("User does not exist!"),
                      std::move(completion));
}

void DeleteDataManager::logoutUserAccopunt(const QString &userId, DeletionCompletion completion)
{
    sendAccountAction(API::logout, {{QStringLiteral("user_id"), userId}},
                      QStringLiteral("Logged out"), QStringLiteral("User does not exist"),
                      std::move(completion));
}

void DeleteDataManager::deleteUserFromFirebase(const QString &userId)
{
    Q_UNUSED(userId)
    LoginDefaults session;
    hooks_->markUserDeactivated(session.userId().value_or(QString()));
    session.logOut();
}
