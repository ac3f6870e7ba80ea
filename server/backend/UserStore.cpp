#include "UserStore.h"

#include "Migrations.h"

#include <array>

namespace tailwise::backend {
namespace {

constexpr std::array columnNames = {
    "id",
    "email",
    "password_hash",
    "register_type",
    "name",
    "phone",
    "gender",
    "age",
    "dog_info",
    "dog_name",
    "dogs_count",
    "about",
    "dog_address",
    "latitude",
    "longitude",
    "profile_pic",
    "status",
    "verify_status",
    "activate_status",
    "device_token",
    "profile_complete",
    "deactivated",
    "locked_until",
    "last_seen",
};

} // namespace

std::string UserStore::columns(std::string_view alias)
{
    std::string list;
    for (const char *name : columnNames) {
        if (!list.empty())
            list += ", ";
        if (!alias.empty())
            list.append(alias).append(".");
        list += name;
    }
    return list;
}

UserRecord UserStore::read(const Statement &row)
{
    UserRecord user;
    user.id = row.integer(0);
    user.email = row.text(1);
    user.passwordHash = row.optionalText(2);
    user.registerType = row.text(3);
    user.name = row.text(4);
    user.phone = row.text(5);
    user.gender = row.text(6);
    user.age = row.text(7);
    user.dogInfo = row.text(8);
    user.dogName = row.text(9);
    user.dogsCount = row.text(10);
    user.about = row.text(11);
    user.dogAddress = row.text(12);
    user.latitude = row.optionalReal(13);
    user.longitude = row.optionalReal(14);
    user.profilePic = row.text(15);
    user.status = row.text(16);
    user.verifyStatus = row.text(17);
    user.activateStatus = row.text(18);
    user.deviceToken = row.text(19);
    user.profileComplete = row.integer(20) != 0;
    user.deactivated = row.integer(21) != 0;
    user.lockedUntil = row.integer(22);
    user.lastSeen = row.integer(23);
    return user;
}

UserStore::UserStore(const std::string &path) : connection_(path)
{
    connection_.exec("PRAGMA journal_mode=WAL");
    // FULL: an acknowledged account survives a power cut, not only a crash.
    connection_.exec("PRAGMA synchronous=FULL");
    connection_.exec("PRAGMA foreign_keys=ON");
    migrate(connection_);
}

std::optional<UserRecord> UserStore::findWhere(const char *condition, auto bindKey)
{
    const std::lock_guard lock(mutex_);
    auto query =
        connection_.prepare("SELECT " + columns() + " FROM users WHERE " + std::string(condition));
    bindKey(query);
    if (!query.step())
        return std::nullopt;
    return read(query);
}

std::optional<UserRecord> UserStore::findByEmail(std::string_view email)
{
    return findWhere("email = ?1", [&](Statement &query) { query.bind(1, email); });
}

std::optional<UserRecord> UserStore::findById(std::int64_t id)
{
    return findWhere("id = ?1", [&](Statement &query) { query.bind(1, id); });
}

std::optional<std::int64_t> UserStore::insert(const NewUser &user, std::int64_t nowMs)
{
    const std::lock_guard lock(mutex_);
    auto statement = connection_.prepare(
        "INSERT INTO users (email, password_hash, register_type, name, phone, gender, age, "
        "dog_info, dog_name, dogs_count, about, dog_address, latitude, longitude, profile_pic, "
        "verify_status, activate_status, last_seen, created_at) "
        "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17, "
        "?18, ?18)");
    statement.bind(1, user.email)
        .bind(2, user.passwordHash ? std::optional<std::string_view>(*user.passwordHash)
                                   : std::nullopt)
        .bind(3, user.registerType)
        .bind(4, user.name)
        .bind(5, user.phone)
        .bind(6, user.gender)
        .bind(7, user.age)
        .bind(8, user.dogInfo)
        .bind(9, user.dogName)
        .bind(10, user.dogsCount)
        .bind(11, user.about)
        .bind(12, user.dogAddress)
        .bind(13, user.latitude)
        .bind(14, user.longitude)
        .bind(15, user.profilePic)
        .bind(16, user.verifyStatus)
        .bind(17, user.activateStatus)
        .bind(18, nowMs);
    try {
        statement.run();
    } catch (const SqliteError &error) {
        if (error.isConstraint())
            return std::nullopt;
        throw;
    }
    return connection_.lastInsertId();
}

FailedLogin UserStore::recordFailedLogin(std::int64_t userId, std::int64_t nowMs, int attempts,
                                         std::int64_t lockMs)
{
    const std::lock_guard lock(mutex_);
    Transaction transaction(connection_);
    auto count = connection_.prepare(
        "UPDATE users SET failed_logins = failed_logins + 1 WHERE id = ?1 RETURNING failed_logins");
    count.bind(1, userId);
    const std::int64_t failures = count.step() ? count.integer(0) : 0;
    count.run();
    FailedLogin result = FailedLogin::counted;
    if (failures >= attempts) {
        connection_.prepare("UPDATE users SET failed_logins = 0, locked_until = ?2 WHERE id = ?1")
            .bind(1, userId)
            .bind(2, nowMs + lockMs)
            .run();
        result = FailedLogin::lockedNow;
    }
    transaction.commit();
    return result;
}

SessionStart UserStore::startSession(std::int64_t userId, const std::string &tokenDigest,
                                     std::int64_t nowMs)
{
    const std::lock_guard lock(mutex_);
    Transaction transaction(connection_);
    auto state = connection_.prepare("SELECT deactivated, locked_until FROM users WHERE id = ?1");
    state.bind(1, userId);
    if (!state.step() || state.integer(0) != 0)
        return SessionStart::deactivated;
    if (state.integer(1) > nowMs)
        return SessionStart::locked;
    connection_.prepare("UPDATE users SET failed_logins = 0 WHERE id = ?1").bind(1, userId).run();
    connection_
        .prepare("INSERT INTO sessions (token_digest, user_id, created_at) VALUES (?1, ?2, ?3)")
        .bind(1, tokenDigest)
        .bind(2, userId)
        .bind(3, nowMs)
        .run();
    transaction.commit();
    return SessionStart::started;
}

std::optional<std::int64_t> UserStore::sessionUser(const std::string &tokenDigest)
{
    const std::lock_guard lock(mutex_);
    auto query =
        connection_.prepare("SELECT s.user_id FROM sessions s JOIN users u ON u.id = s.user_id "
                            "WHERE s.token_digest = ?1 AND u.deactivated = 0");
    query.bind(1, tokenDigest);
    if (!query.step())
        return std::nullopt;
    return query.integer(0);
}

void UserStore::endSession(const std::string &tokenDigest)
{
    const std::lock_guard lock(mutex_);
    connection_.prepare("DELETE FROM sessions WHERE token_digest = ?1").bind(1, tokenDigest).run();
}

void UserStore::endOtherSessions(std::int64_t userId, const std::string &keptDigest)
{
    const std::lock_guard lock(mutex_);
    connection_.prepare("DELETE FROM sessions WHERE user_id = ?1 AND token_digest <> ?2")
        .bind(1, userId)
        .bind(2, keptDigest)
        .run();
}

void UserStore::setPasswordHash(std::int64_t userId, const std::string &hash)
{
    const std::lock_guard lock(mutex_);
    connection_.prepare("UPDATE users SET password_hash = ?2 WHERE id = ?1")
        .bind(1, userId)
        .bind(2, hash)
        .run();
}

void UserStore::resetPassword(std::int64_t userId, const std::string &hash,
                              const std::string &recipient, const std::string &subject,
                              const std::string &body, const std::string &fileName,
                              std::int64_t nowMs)
{
    const std::lock_guard lock(mutex_);
    Transaction transaction(connection_);
    connection_
        .prepare("UPDATE users SET password_hash = ?2, failed_logins = 0, locked_until = 0 "
                 "WHERE id = ?1")
        .bind(1, userId)
        .bind(2, hash)
        .run();
    connection_
        .prepare("INSERT INTO outbox (recipient, subject, body, file_name, created_at) "
                 "VALUES (?1, ?2, ?3, ?4, ?5)")
        .bind(1, recipient)
        .bind(2, subject)
        .bind(3, body)
        .bind(4, fileName)
        .bind(5, nowMs)
        .run();
    transaction.commit();
}

void UserStore::deactivate(std::int64_t userId, const std::string &reason,
                           const std::string &message, std::int64_t nowMs)
{
    const std::lock_guard lock(mutex_);
    Transaction transaction(connection_);
    connection_
        .prepare("UPDATE users SET deactivated = 1, activate_status = 'Deactivate', "
                 "device_token = '', status = 'Offline', deactivation_reason = ?2, "
                 "deactivation_message = ?3, deactivated_at = ?4 WHERE id = ?1")
        .bind(1, userId)
        .bind(2, reason)
        .bind(3, message)
        .bind(4, nowMs)
        .run();
    connection_.prepare("DELETE FROM sessions WHERE user_id = ?1").bind(1, userId).run();
    transaction.commit();
}

std::int64_t UserStore::countOutbox()
{
    const std::lock_guard lock(mutex_);
    auto query = connection_.prepare("SELECT COUNT(*) FROM outbox");
    query.step();
    return query.integer(0);
}

} // namespace tailwise::backend
