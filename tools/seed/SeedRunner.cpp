#include "SeedRunner.h"

#include "Platform/Print.h"

#include <QDateTime>
#include <QJsonArray>

#include <cstdio>

namespace {

QString text(const QJsonObject &object, const char *key)
{
    return object.value(QLatin1String(key)).toString();
}

// The first user dictionary of an answer's "data" or "user_data".
QJsonObject firstUser(const StackAnswer &answer, const char *key)
{
    return answer.json().value(QLatin1String(key)).toArray().at(0).toObject();
}

QString coordinate(double degrees)
{
    return QString::number(degrees, 'f', 6);
}

} // namespace

SeedRunner::SeedRunner(StackClient &client, const DemoPeople &people, QUrl uploads)
    : client_(client), people_(people), uploads_(std::move(uploads))
{}

bool SeedRunner::failed(const DemoPerson &person, const QString &step, const StackAnswer &answer)
{
    failure_ = Failure{QStringLiteral("%1 (%2): %3").arg(person.email, step, answer.message()),
                       !answer.reached()};
    return false;
}

bool SeedRunner::stackAnswers()
{
    const StackAnswer backend = client_.health();
    if (!backend.ok()) {
        print(QStringLiteral("tailwise-seed: the backend at %1 does not answer (%2); is "
                             "tailwise-server running?")
                  .arg(client_.backendUrl().toString(), backend.message()));
        return false;
    }
    // Any HTTP answer will do: with rules in force an anonymous read is refused.
    const StackAnswer database = client_.readNode(QString(), QString(), true);
    if (!database.reached()) {
        print(QStringLiteral("tailwise-seed: the realtime database at %1 does not answer (%2)")
                  .arg(client_.databaseUrl().toString(), database.error));
        return false;
    }
    return true;
}

std::optional<SeedRunner::Account> SeedRunner::signIn(const DemoPerson &person, QJsonObject &user,
                                                      bool &profileFinished)
{
    const StackAnswer answer = client_.callBackend(
        QStringLiteral("login"), {{QStringLiteral("email"), person.email},
                                  {QStringLiteral("password"), DemoPeople::password}});
    if (answer.status == 404)
        return std::nullopt; // no such account yet
    if (!answer.ok()) {
        failed(person, QStringLiteral("sign-in"), answer);
        return std::nullopt;
    }
    user = firstUser(answer, "user_data");
    profileFinished = answer.json().value(QStringLiteral("is_new_account")).toInt() == 0;
    return Account{text(user, "user_id"), text(user, "userToken")};
}

std::optional<SeedRunner::Account> SeedRunner::signUp(const DemoPerson &person)
{
    // What the app's registration screen sends, with the person's place instead of the
    // device's.
    const StackAnswer answer =
        client_.callBackend(QStringLiteral("register"),
                            {{QStringLiteral("email"), person.email},
                             {QStringLiteral("password"), DemoPeople::password},
                             {QStringLiteral("register_type"), QStringLiteral("manual")},
                             {QStringLiteral("dog_address"), person.address},
                             {QStringLiteral("latitude"), coordinate(person.position.latitude)},
                             {QStringLiteral("longitude"), coordinate(person.position.longitude)},
                             {QStringLiteral("activate_status"), QStringLiteral("activate")},
                             {QStringLiteral("verify_status"), QStringLiteral("0")}});
    if (!answer.ok()) {
        failed(person, QStringLiteral("registration"), answer);
        return std::nullopt;
    }
    const QJsonObject body = answer.json();
    return Account{text(body, "user_id"), text(body, "userToken")};
}

std::optional<QJsonObject> SeedRunner::saveProfile(const DemoPerson &person, const Account &account)
{
    const StackClient::FormFields fields = {
        {QStringLiteral("user_id"), account.id},
        {QStringLiteral("username"), person.name()},
        {QStringLiteral("gender"), person.gender},
        {QStringLiteral("user_age"), QString::number(person.age)},
        {QStringLiteral("dogs_count"), person.dogsCount()},
        {QStringLiteral("dog_name"), person.dogNames()},
        {QStringLiteral("dogInfo"), person.dogInfo},
        {QStringLiteral("about"), person.about},
        {QStringLiteral("dog_address"), person.address},
        {QStringLiteral("latitude"), coordinate(person.position.latitude)},
        {QStringLiteral("longitude"), coordinate(person.position.longitude)},
    };
    const StackAnswer saved =
        client_.sendProfile(QStringLiteral("userprofile"), fields,
                            painter_.png(person.firstName.at(0), person.look), account.token);
    if (!saved.ok()) {
        failed(person, QStringLiteral("profile"), saved);
        return std::nullopt;
    }
    // Presence as the backend reports it in partner rows agrees with the mirror's.
    const StackAnswer status =
        client_.callBackend(QStringLiteral("statusUpdate"),
                            {{QStringLiteral("user_id"), account.id},
                             {QStringLiteral("status"), person.online ? QStringLiteral("Online")
                                                                      : QStringLiteral("Offline")}},
                            account.token);
    if (!status.ok()) {
        failed(person, QStringLiteral("status"), status);
        return std::nullopt;
    }
    return firstUser(status, "data");
}

bool SeedRunner::writeRecords(const DemoPerson &person, const Account &account,
                              const QJsonObject &user)
{
    const QString picture = text(user, "profilePic");
    QString pictureUrl = uploads_.toString();
    while (pictureUrl.endsWith(QLatin1Char('/')))
        pictureUrl.chop(1);
    pictureUrl += QStringLiteral("/projects/tailapp/uploads/") + picture;
    const qint64 lastSeen =
        QDateTime::currentMSecsSinceEpoch() - qint64(person.minutesSinceSeen) * 60'000;
    // The keys the app's user mirror writes, filled from the backend's dictionary as the app
    // fills them, except presence: most demo people are not around right now.
    const QJsonObject mirror = {
        {QStringLiteral("id"), account.id},
        {QStringLiteral("name"), text(user, "Name")},
        {QStringLiteral("status"),
         person.online ? QStringLiteral("Online") : QStringLiteral("Offline")},
        {QStringLiteral("device_token"), QString()},
        {QStringLiteral("profilePic"), picture.isEmpty() ? QString() : pictureUrl},
        {QStringLiteral("email"), text(user, "email")},
        {QStringLiteral("gender"), text(user, "gender")},
        {QStringLiteral("age"), text(user, "age")},
        {QStringLiteral("distance"), text(user, "distance")},
        {QStringLiteral("aboutstory"), text(user, "about")},
        {QStringLiteral("dogcount"), text(user, "dogs_count")},
        {QStringLiteral("dogname"), text(user, "dog_name")},
        {QStringLiteral("verify_status"), text(user, "verify_status")},
        {QStringLiteral("time_stamp"), double(lastSeen)},
    };
    const QJsonObject notifications = {{QStringLiteral("noti_status"), QStringLiteral("online")},
                                       {QStringLiteral("tone"), QStringLiteral("on")},
                                       {QStringLiteral("vibrate"), QStringLiteral("on")},
                                       {QStringLiteral("message"), QStringLiteral("on")}};
    const QJsonObject privacy = {{QStringLiteral("img_status"), person.imgStatus},
                                 {QStringLiteral("lastseen_status"), person.lastseenStatus}};
    // The mirror goes last: a person whose mirror exists is complete.
    const QList<std::pair<QString, QJsonObject>> writes = {
        {QStringLiteral("Notifications/"), notifications},
        {QStringLiteral("DataProtection/"), privacy},
        {QStringLiteral("Users/"), mirror}};
    for (const auto &[root, value] : writes) {
        const StackAnswer written = client_.writeNode(root + account.id, value, account.token);
        if (!written.ok())
            return failed(person, root + account.id, written);
    }
    return true;
}

std::optional<SeedRunner::Account> SeedRunner::bringIn(const DemoPerson &person)
{
    QJsonObject user;
    bool profileFinished = false;
    std::optional<Account> account = signIn(person, user, profileFinished);
    if (failure_)
        return std::nullopt;
    if (!account) {
        account = signUp(person);
        if (!account)
            return std::nullopt;
    }
    // Without both, every later path would name a parent node instead of the person's own.
    if (account->id.isEmpty() || account->token.isEmpty()) {
        failure_ = Failure{person.email + QStringLiteral(": the backend's answer names no user "
                                                         "and session")};
        return std::nullopt;
    }
    // An earlier run that stopped half-way left an unfinished profile or no mirror; anything
    // finished stays as it is.
    if (!profileFinished) {
        const auto saved = saveProfile(person, *account);
        if (!saved)
            return account;
        user = *saved;
    }
    const StackAnswer mirror =
        client_.readNode(QStringLiteral("Users/") + account->id, account->token, true);
    if (!mirror.ok()) {
        failed(person, QStringLiteral("user mirror"), mirror);
        return account;
    }
    if (mirror.body.trimmed() == "null") {
        if (!writeRecords(person, *account, user))
            return account;
        account->recordsWritten = true;
    }
    return account;
}

void SeedRunner::markFavourites(int count)
{
    for (auto it = accounts_.cbegin(); it != accounts_.cend(); ++it) {
        if (!it->recordsWritten)
            continue;
        const DemoPerson person = people_.person(it.key());
        for (const int other : people_.favouritesOf(it.key(), count)) {
            if (!accounts_.contains(other))
                continue;
            const QString otherId = accounts_[other].id;
            // The backend's mark feeds the favourites list, the database's the chat screens.
            const StackAnswer marked =
                client_.callBackend(QStringLiteral("create_user_favourite"),
                                    {{QStringLiteral("user_id"), it->id},
                                     {QStringLiteral("favouriteId"), otherId},
                                     {QStringLiteral("favourite_status"), QStringLiteral("1")}},
                                    it->token);
            const StackAnswer stored =
                marked.ok() ? client_.writeNode(
                                  QStringLiteral("Favourite/%1/%2/Favourite").arg(it->id, otherId),
                                  QStringLiteral("1"), it->token)
                            : marked;
            if (!stored.ok())
                print(QStringLiteral("tailwise-seed: %1 could not mark a favourite: %2")
                          .arg(person.email, stored.message()));
        }
    }
}

void SeedRunner::signOut()
{
    for (const Account &account : std::as_const(accounts_))
        client_.callBackend(QStringLiteral("logout"), {{QStringLiteral("user_id"), account.id}},
                            account.token);
}

int SeedRunner::run(int count)
{
    if (!stackAnswers())
        return 1;
    print(QStringLiteral("tailwise-seed: bringing %1 demo dog owners to %2")
              .arg(count)
              .arg(client_.backendUrl().toString()));
    int added = 0;
    for (int index = 0; index < count; ++index) {
        const DemoPerson person = people_.person(index);
        failure_.reset();
        const std::optional<Account> account = bringIn(person);
        // Signed in even when something after failed: its session still needs ending.
        if (account)
            accounts_.insert(index, *account);
        if (account && account->recordsWritten)
            ++added;
        if (failure_) {
            ++failedPeople_;
            print(QStringLiteral("tailwise-seed: %1").arg(failure_->reason));
            if (failure_->lostStack) {
                signOut();
                print(QStringLiteral("tailwise-seed: lost the service stack; stopping"));
                return 1;
            }
        }
        if ((index + 1) % 10 == 0 || index + 1 == count)
            print(QStringLiteral("tailwise-seed: %1 of %2 dog owners in place (%3 new)")
                      .arg(index + 1 - failedPeople_)
                      .arg(count)
                      .arg(added));
    }
    markFavourites(count);
    signOut();

    if (failedPeople_ > 0) {
        print(QStringLiteral("tailwise-seed: %1 of %2 demo accounts could not be set up")
                  .arg(failedPeople_)
                  .arg(count));
        return 1;
    }
    const QByteArray line =
        QStringLiteral("Demo account: %1  password: %2\n")
            .arg(QLatin1String(DemoPeople::demoEmail), QLatin1String(DemoPeople::password))
            .toUtf8();
    std::fwrite(line.constData(), 1, std::size_t(line.size()), stdout);
    std::fflush(stdout);
    return 0;
}
