#pragma once

#include "Sqlite.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tailwise::backend {

struct UserRecord
{
    std::int64_t id = 0;
    std::string email;
    std::optional<std::string> passwordHash;
    std::string registerType;
    std::string name;
    std::string phone;
    std::string gender;
    std::string age;
    std::string dogInfo;
    std::string dogName;
    std::string dogsCount;
    std::string about;
    std::string dogAddress;
    std::optional<double> latitude;
    std::optional<double> longitude;
    std::string profilePic;
    std::string status;
    std::string verifyStatus;
    std::string activateStatus;
    std::string deviceToken;
    bool profileComplete = false;
    bool deactivated = false;
    std::int64_t lockedUntil = 0;
    std::int64_t lastSeen = 0;
    // The identity provider's account that proved a social sign-up; none for passwords.
    std::optional<std::string> identityIssuer;
    std::optional<std::string> identitySubject;
    // A mailed password that works beside the current one until either is used.
    std::optional<std::string> resetHash;
    std::int64_t resetExpiresAt = 0;
};

// What a registration stores besides the e-mail and password.
struct NewUser
{
    std::string email;
    std::optional<std::string> passwordHash;
    std::string registerType;
    std::string name, phone, gender, age, dogInfo, dogName, dogsCount, about, dogAddress;
    std::optional<double> latitude, longitude;
    std::string profilePic;
    std::string verifyStatus = "0";
    std::optional<std::string> identityIssuer, identitySubject;
};

enum class SessionStart
{
    started,
    deactivated
};

// How long a session lives without use, and how stale its last-use time may get before a
// request writes it again (so that reading a session rarely writes).
struct SessionRules
{
    std::int64_t idleLifetimeMs = 30LL * 24 * 60 * 60 * 1000;
    std::int64_t refreshAfterMs = 5 * 60 * 1000;
};

// The password lock: so many wrong passwords in a row lock password checks for a while.
struct LockRules
{
    int attemptsBeforeLock = 3;
    std::int64_t lockMs = 60'000;
};

// A password check is counted before its hash runs, so however many arrive at once, no more
// than the lock allows are ever checked.
struct Attempt
{
    enum State
    {
        reserved, // go ahead; `number` counts this attempt in the current run
        locked,   // locked until `lockedUntil`
        busy      // as many checks as the lock allows are running right now
    } state = reserved;
    int number = 0;
    std::int64_t lockedUntil = 0;
};

// The users, their sessions and the mail outbox in one SQLite database. Writes go through one
// connection, serialised by a mutex, each in a short transaction; reads use a small pool of
// read-only connections. The slow part of an account request (password hashing) happens
// outside both.
class UserStore
{
public:
    explicit UserStore(const std::string &path, std::size_t readers = 4);

    std::optional<UserRecord> findByEmail(std::string_view email);
    std::optional<UserRecord> findById(std::int64_t id);
    static std::optional<UserRecord> findByEmail(Connection &connection, std::string_view email);
    static std::optional<UserRecord> findById(Connection &connection, std::int64_t id);
    static std::optional<UserRecord>
    findByIdentity(Connection &connection, const std::string &issuer, const std::string &subject);

    // nullopt when the address (or the identity) is taken.
    static std::optional<std::int64_t> insert(Connection &connection, const NewUser &user,
                                              std::int64_t nowMs);
    std::optional<std::int64_t> insert(const NewUser &user, std::int64_t nowMs);
    // Ties an account made before identities were stored to the one that now proves it.
    static void bindIdentity(Connection &connection, std::int64_t userId, const std::string &issuer,
                             const std::string &subject);

    // Checks the account state again, then resets the failure count and stores the session.
    static SessionStart startSession(Connection &connection, std::int64_t userId,
                                     const std::string &tokenDigest, std::int64_t nowMs);
    // The user of a live session; an idle one past its lifetime is ended instead. Refreshes
    // the last-use time when it is older than the rules allow.
    std::optional<std::int64_t> sessionUser(const std::string &tokenDigest, std::int64_t nowMs,
                                            const SessionRules &rules);
    void endSession(const std::string &tokenDigest);
    static void endOtherSessions(Connection &connection, std::int64_t userId,
                                 const std::string &keptDigest);
    static void endAllSessions(Connection &connection, std::int64_t userId);

    Attempt reserveAttempt(std::int64_t userId, std::int64_t nowMs, const LockRules &rules);
    // Records the wrong password of a reserved attempt; true when it locked password checks.
    bool recordWrongPassword(std::int64_t userId, const Attempt &attempt, std::int64_t nowMs,
                             const LockRules &rules);

    // Sets the password, drops a pending reset and clears the failure count.
    static void setPasswordHash(Connection &connection, std::int64_t userId,
                                const std::string &hash);
    static void setPendingReset(Connection &connection, std::int64_t userId,
                                const std::string &hash, std::int64_t expiresAtMs);
    static void dropPendingReset(Connection &connection, std::int64_t userId);
    static void queueMail(Connection &connection, const std::string &recipient,
                          const std::string &subject, const std::string &body,
                          const std::string &fileName, std::int64_t nowMs);
    bool mailRecorded(const std::string &fileName);

    void deactivate(std::int64_t userId, const std::string &reason, const std::string &message,
                    std::int64_t nowMs);

    std::int64_t countOutbox();

    // The user columns in the order fromRow() expects, optionally qualified by a table alias.
    static std::string columns(std::string_view alias = {});
    static constexpr int columnCount = 28;
    // Reads a user from the first columns of a row selected with columns().
    static UserRecord fromRow(const Statement &row);

    // Runs `work` on the writing connection under the store's lock, for stores that keep
    // their own tables in the same database.
    template <typename Work>
    auto locked(Work work)
    {
        const std::lock_guard lock(mutex_);
        return work(connection_);
    }

    // Runs `work` in one write transaction, committed when `work` returns and rolled back when
    // it throws. Handlers build their answer inside, so a request whose answer fails leaves
    // nothing behind.
    template <typename Work>
    auto write(Work work)
    {
        const std::lock_guard lock(mutex_);
        Transaction transaction(connection_);
        if constexpr (std::is_void_v<decltype(work(connection_))>) {
            work(connection_);
            transaction.commit();
        } else {
            auto result = work(connection_);
            transaction.commit();
            return result;
        }
    }

    // Runs `work` on a read-only connection; it sees what was committed when it started.
    template <typename Work>
    auto read(Work work)
    {
        return readers_.run(std::move(work));
    }

private:
    static std::optional<UserRecord> findWhere(Connection &connection, const char *condition,
                                               auto bindKey);

    std::mutex mutex_;
    Connection connection_;
    ReadPool readers_;
};

} // namespace tailwise::backend
