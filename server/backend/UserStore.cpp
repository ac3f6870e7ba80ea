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
    "identity_issuer",
    "identity_subject",
    "reset_hash",
    "reset_expires_at",
};

static_assert(columnNames.size() == UserStore::columnCount);

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

UserRecord UserStore::fromRow(const Statement &row)
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
    user.identityIssuer = row.optionalText(24);
    user.identitySubject = row.optionalText(25);
    user.resetHash = row.optionalText(26);
    user.resetExpiresAt = row.integer(27);
    return user;
}

UserStore::UserStore(const std::string &path, std::size_t readers)
    : connection_(path), readers_(path, readers)
{
    makeDurable(connection_);
    connection_.exec("PRAGMA foreign_keys=ON");
    migrate(connection_);
}

std::optional<UserRecord> UserStore::findWhere(Connection &connection, const char *condition,
                                               auto bindKey)
{
    auto query =
        connection.prepare("SELECT " + columns() + " FROM users WHERE " + std::string(condition));
    bindKey(query);
    if (!query.step())
        return std::nullopt;
    return fromRow(query);
}

std::optional<UserRecord> UserStore::findByEmail(Connection &connection, std::string_view email)
{
    return findWhere(connection, "email = ?1", [&](Statement &query) { query.bind(1, email); });
}

std::optional<UserRecord> UserStore::findById(Connection &connection, std::int64_t id)
{
    return findWhere(connection, "id = ?1", [&](Statement &query) { query.bind(1, id); });
}

std::optional<UserRecord> UserStore::findByEmail(std::string_view email)
{
    return read([&](Connection &connection) { return findByEmail(connection, email); });
}

std::optional<UserRecord> UserStore::findById(std::int64_t id)
{
    return read([&](Connection &connection) { return findById(connection, id); });
}

std::optional<UserRecord> UserStore::findByIdentity(Connection &connection,
                                                    const std::string &issuer,
                                                    const std::string &subject)
{
    return findWhere(connection, "identity_issuer = ?1 AND identity_subject = ?2",
                     [&](Statement &query) { query.bind(1, issuer).bind(2, subject); });
}

std::optional<std::int64_t> UserStore::insert(Connection &connection, const NewUser &user,
                                              std::int64_t nowMs)
{
    auto statement = connection.prepare(
        "INSERT INTO users (email, password_hash, register_type, name, phone, gender, age, "
        "dog_info, dog_name, dogs_count, about, dog_address, latitude, longitude, profile_pic, "
        "verify_status, identity_issuer, identity_subject, last_seen, created_at) "
        "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17, "
        "?18, ?19, ?19)");
    const auto optional = [](const std::optional<std::string> &text) {
        return text ? std::optional<std::string_view>(*text) : std::nullopt;
    };
    statement.bind(1, user.email)
        .bind(2, optional(user.passwordHash))
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
        .bind(17, optional(user.identityIssuer))
        .bind(18, optional(user.identitySubject))
        .bind(19, nowMs);
    try {
        statement.run();
    } catch (const SqliteError &error) {
        if (error.isConstraint())
            return std::nullopt;
        throw;
    }
    return connection.lastInsertId();
}

std::optional<std::int64_t> UserStore::insert(const NewUser &user, std::int64_t nowMs)
{
    return write([&](Connection &connection) { return insert(connection, user, nowMs); });
}

void UserStore::bindIdentity(Connection &connection, std::int64_t userId, const std::string &issuer,
                             const std::string &subject)
{
    connection.prepare("UPDATE users SET identity_issuer = ?2, identity_subject = ?3 WHERE id = ?1")
        .bind(1, userId)
        .bind(2, issuer)
        .bind(3, subject)
        .run();
}

SessionStart UserStore::startSession(Connection &connection, std::int64_t userId,
                                     const std::string &tokenDigest, std::int64_t nowMs)
{
    auto state = connection.prepare("SELECT deactivated FROM users WHERE id = ?1");
    state.bind(1, userId);
    if (!state.step() || state.integer(0) != 0)
        return SessionStart::deactivated;
    connection.prepare("UPDATE users SET failed_logins = 0 WHERE id = ?1").bind(1, userId).run();
    connection
        .prepare("INSERT INTO sessions (token_digest, user_id, created_at, last_used) "
                 "VALUES (?1, ?2, ?3, ?3)")
        .bind(1, tokenDigest)
        .bind(2, userId)
        .bind(3, nowMs)
        .run();
    return SessionStart::started;
}

std::optional<std::int64_t> UserStore::sessionUser(const std::string &tokenDigest,
                                                   std::int64_t nowMs, const SessionRules &rules)
{
    const auto found = read([&](Connection &connection) {
        auto query = connection.prepare(
            "SELECT s.user_id, s.last_used FROM sessions s JOIN users u ON u.id = s.user_id "
            "WHERE s.token_digest = ?1 AND u.deactivated = 0");
        query.bind(1, tokenDigest);
        return query.step() ? std::optional(std::pair(query.integer(0), query.integer(1)))
                            : std::nullopt;
    });
    if (!found)
        return std::nullopt;
    const auto [userId, lastUsed] = *found;
    if (nowMs - lastUsed >= rules.idleLifetimeMs) {
        write([&](Connection &connection) {
            connection.prepare("DELETE FROM sessions WHERE token_digest = ?1 AND last_used <= ?2")
                .bind(1, tokenDigest)
                .bind(2, nowMs - rules.idleLifetimeMs)
                .run();
        });
        return std::nullopt;
    }
    if (nowMs - lastUsed >= rules.refreshAfterMs) {
        write([&](Connection &connection) {
            connection
                .prepare("UPDATE sessions SET last_used = ?2 "
                         "WHERE token_digest = ?1 AND last_used < ?2")
                .bind(1, tokenDigest)
                .bind(2, nowMs)
                .run();
        });
    }
    return userId;
}

void UserStore::endSession(const std::string &tokenDigest)
{
    write([&](Connection &connection) {
        connection.prepare("DELETE FROM sessions WHERE token_digest = ?1")
            .bind(1, tokenDigest)
            .run();
    });
}

void UserStore::endOtherSessions(Connection &connection, std::int64_t userId,
                                 const std::string &keptDigest)
{
    connection.prepare("DELETE FROM sessions WHERE user_id = ?1 AND token_digest <> ?2")
        .bind(1, userId)
        .bind(2, keptDigest)
        .run();
}

void UserStore::endAllSessions(Connection &connection, std::int64_t userId)
{
    connection.prepare("DELETE FROM sessions WHERE user_id = ?1").bind(1, userId).run();
}

Attempt UserStore::reserveAttempt(std::int64_t userId, std::int64_t nowMs, const LockRules &rules)
{
    return write([&](Connection &connection) {
        auto state = connection.prepare(
            "SELECT failed_logins, locked_until, last_attempt_at FROM users WHERE id = ?1");
        state.bind(1, userId);
        if (!state.step())
            return Attempt{Attempt::busy};
        const std::int64_t failures = state.integer(0);
        const std::int64_t lockedUntil = state.integer(1);
        const std::int64_t lastAttempt = state.integer(2);
        if (lockedUntil > nowMs)
            return Attempt{Attempt::locked, 0, lockedUntil};
        // A full count with no lock behind it means checks are still running, unless the
        // last one started so long ago that it can only have died with a restart.
        const bool stale = nowMs - lastAttempt >= rules.lockMs;
        if (failures >= rules.attemptsBeforeLock && !stale)
            return Attempt{Attempt::busy};
        const std::int64_t number = failures >= rules.attemptsBeforeLock ? 1 : failures + 1;
        connection
            .prepare("UPDATE users SET failed_logins = ?2, last_attempt_at = ?3 WHERE id = ?1")
            .bind(1, userId)
            .bind(2, number)
            .bind(3, nowMs)
            .run();
        return Attempt{Attempt::reserved, static_cast<int>(number)};
    });
}

bool UserStore::recordWrongPassword(std::int64_t userId, const Attempt &attempt, std::int64_t nowMs,
                                    const LockRules &rules)
{
    if (attempt.number < rules.attemptsBeforeLock)
        return false; // already counted when it was reserved
    write([&](Connection &connection) {
        connection.prepare("UPDATE users SET failed_logins = 0, locked_until = ?2 WHERE id = ?1")
            .bind(1, userId)
            .bind(2, nowMs + rules.lockMs)
            .run();
    });
    return true;
}

void UserStore::setPasswordHash(Connection &connection, std::int64_t userId,
                                const std::string &hash)
{
    connection
        .prepare("UPDATE users SET password_hash = ?2, reset_hash = NULL, reset_expires_at = 0, "
                 "failed_logins = 0 WHERE id = ?1")
        .bind(1, userId)
        .bind(2, hash)
        .run();
}

void UserStore::setPendingReset(Connection &connection, std::int64_t userId,
                                const std::string &hash, std::int64_t expiresAtMs)
{
    connection.prepare("UPDATE users SET reset_hash = ?2, reset_expires_at = ?3 WHERE id = ?1")
        .bind(1, userId)
        .bind(2, hash)
        .bind(3, expiresAtMs)
        .run();
}

void UserStore::dropPendingReset(Connection &connection, std::int64_t userId)
{
    connection.prepare("UPDATE users SET reset_hash = NULL, reset_expires_at = 0 WHERE id = ?1")
        .bind(1, userId)
        .run();
}

void UserStore::queueMail(Connection &connection, const std::string &recipient,
                          const std::string &subject, const std::string &body,
                          const std::string &fileName, std::int64_t nowMs)
{
    connection
        .prepare("INSERT INTO outbox (recipient, subject, body, file_name, created_at) "
                 "VALUES (?1, ?2, ?3, ?4, ?5)")
        .bind(1, recipient)
        .bind(2, subject)
        .bind(3, body)
        .bind(4, fileName)
        .bind(5, nowMs)
        .run();
}

bool UserStore::mailRecorded(const std::string &fileName)
{
    return read([&](Connection &connection) {
        auto query = connection.prepare("SELECT 1 FROM outbox WHERE file_name = ?1");
        query.bind(1, fileName);
        return query.step();
    });
}

void UserStore::deactivate(std::int64_t userId, const std::string &reason,
                           const std::string &message, std::int64_t nowMs)
{
    write([&](Connection &connection) {
        connection
            .prepare("UPDATE users SET deactivated = 1, activate_status = 'Deactivate', "
                     "device_token = '', status = 'Offline', deactivation_reason = ?2, "
                     "deactivation_message = ?3, deactivated_at = ?4 WHERE id = ?1")
            .bind(1, userId)
            .bind(2, reason)
            .bind(3, message)
            .bind(4, nowMs)
            .run();
        endAllSessions(connection, userId);
    });
}

std::int64_t UserStore::countOutbox()
{
    return read([](Connection &connection) {
        auto query = connection.prepare("SELECT COUNT(*) FROM outbox");
        query.step();
        return query.integer(0);
    });
}

} // namespace tailwise::backend
