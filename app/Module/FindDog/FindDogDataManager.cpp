#include "Module/FindDog/FindDogDataManager.h"

#include "Common/Firebase/FirebaseNode.h"
#include "Common/Network/API.h"
#include "Common/Network/APIManager.h"
#include "LoginDefaults.h"
#include "Platform/Database.h"

namespace {

// Every element of "data" as a user, or none when "data" is not an array of objects.
std::optional<QList<User>> usersOf(const QVariantMap &answer)
{
    const auto data = answer.constFind(QStringLiteral("data"));
    if (data == answer.constEnd() || data->typeId() != QMetaType::QVariantList)
        return std::nullopt;
    QList<User> users;
    for (const QVariant &row : data->toList()) {
        if (row.typeId() != QMetaType::QVariantMap)
            return std::nullopt;
        users.append(User(row.toMap()));
    }
    return users;
}

// The mark isFaveUser() reads, kept equal to what the backend accepted.
void writeFavouriteMark(const QString &userId, const QString &otherUserId, const QString &status)
{
    if (userId.isEmpty() || otherUserId.isEmpty())
        return;
    Database::database().reference(favouriteMarkPath(userId, otherUserId)).setValue(status);
}

} // namespace

FindDogDataManager::FindDogDataManager(RealtimeReads &reads)
    : userData_(std::make_shared<QList<User>>()), reads_(&reads)
{}

namespace {

const FindDogDataManager::ListTexts partnerTexts{QStringLiteral("User does not exist!"), {}};
const FindDogDataManager::ListTexts favouriteTexts{QStringLiteral("User does not exist"),
                                                   QStringLiteral("Request failed!")};

QVariantMap pageParameters(const QString &filter, FindDogDataManager::Page page)
{
    return {{QStringLiteral("filter"), filter},
            {QStringLiteral("page_size"), page.size},
            {QStringLiteral("page"), page.number}};
}

} // namespace

void FindDogDataManager::fetchallUsers(const QString &userId, const QString &filter,
                                       ResultCompletion completion)
{
    fetchList(API::findDogPartner, userId, {{QStringLiteral("filter"), filter}}, partnerTexts,
              std::move(completion));
}

void FindDogDataManager::fetchallUsers(const QString &userId, const QString &filter, Page page,
                                       ResultCompletion completion)
{
    fetchList(API::findDogPartner, userId, pageParameters(filter, page), partnerTexts,
              std::move(completion));
}

void FindDogDataManager::getFavUsers(const QString &userId, const QString &filter,
                                     ResultCompletion completion)
{
    fetchList(API::getFavUser, userId, {{QStringLiteral("filter"), filter}}, favouriteTexts,
              std::move(completion));
}

void FindDogDataManager::getFavUsers(const QString &userId, const QString &filter, Page page,
                                     ResultCompletion completion)
{
    fetchList(API::getFavUser, userId, pageParameters(filter, page), favouriteTexts,
              std::move(completion));
}

void FindDogDataManager::fetchList(const QString &endpoint, const QString &userId,
                                   const QVariantMap &parameters, const ListTexts &texts,
                                   ResultCompletion completion)
{
    auto rows = userData_;
    APIManager().apiCall(
        ApiHTTPMethod::POST, endpoint + QLatin1Char('/') + userId, parameters,
        [rows, texts, completion](const QVariantMap &answer) {
            rows->clear();
            if (auto users = usersOf(answer)) {
                *rows = std::move(*users);
                completion(true, QStringLiteral("%1 users").arg(rows->size()));
                return;
            }
            if (answer.contains(QStringLiteral("data")) && !texts.unusableData.isEmpty())
                completion(false, texts.unusableData);
            else
                completion(false,
                           textField(answer, QStringLiteral("message")).value_or(texts.noData));
        },
        logProfileFailure);
}

void FindDogDataManager::createFavUser(const QString &userId, const QString &favouriteId,
                                       const QString &favouriteStatus, ResultCompletion completion)
{
    APIManager().apiCall(
        ApiHTTPMethod::POST, API::createFavUser,
        QVariantMap{{QStringLiteral("user_id"), userId},
                    {QStringLiteral("favouriteId"), favouriteId},
                    {QStringLiteral("favourite_status"), favouriteStatus}},
        [userId, favouriteId, favouriteStatus, completion](const QVariantMap &answer) {
            const auto message = textField(answer, QStringLiteral("message"));
            if (isSuccessAnswer(answer)) {
                writeFavouriteMark(userId, favouriteId, favouriteStatus);
                completion(true, message.value_or(QString()));
                return;
            }
            completion(false, message.value_or(QStringLiteral("Data not found!")));
        },
        logProfileFailure);
}

void FindDogDataManager::isFaveUser(const QString &otherUserId,
                                    std::function<void(bool)> completion)
{
    const QString signedIn = LoginDefaults().userId().value_or(QString());
    reads_->readFavouriteMark(signedIn, otherUserId,
                              [completion](const std::optional<QVariant> &mark) {
                                  completion(mark && mark->typeId() == QMetaType::QString &&
                                             mark->toString() == QLatin1String("1"));
                              });
}
