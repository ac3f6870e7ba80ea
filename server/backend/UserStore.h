#pragma once

#include "Sqlite.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

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
    std::string activateStatus = "activate";
};

enum class FailedLogin
{
    counted,
    lockedNow
};
enum class SessionStart
{
    started,
    locked,
    deactivated
};

// The users, their sessions and the mail outbox in one SQLite database. One connection,
// serialised by a mutex: every operation is short, and the slow part of an account
// request (password hashing) happens outside.
class UserStore
{
public:
    explicit UserStore(const std::string &path);

    std::optional<UserRecord> findByEmail(std::string_view email);
    std::optional<UserRecord> findById(std::int64_t id);

    // nullopt when the address is taken.
    std::optional<std::int64_t> insert(const NewUser &user, std::int64_t nowMs);

    FailedLogin recordFailedLogin(std::int64_t userId, std::int64_t nowMs, int attempts,
                                  std::int64_t lockMs);
    // Checks the lock and the account state again under the database lock, then resets the
    // failure count and stores the session.
    SessionStart startSession(std::int64_t userId, const std::string &tokenDigest,
                              std::int64_t nowMs);
    std::optional<std::int64_t> sessionUser(const std::string &tokenDigest);
    void endSession(const std::string &tokenDigest);
    void endOtherSessions(std::int64_t userId, const std::string &keptDigest);

    void setPasswordHash(std::int64_t userId, const std::string &hash);
    // Sets the new password, clears the lock and queues the mail in one transaction.
    void resetPassword(std::int64_t userId, const std::string &hash, const std::string &recipient,
                       const std::string &subject, const std::string &body,
                       const std::string &fileName, std::int64_t nowMs);
    void deactivate(std::int64_t userId, const std::string &reason, const std::string &message,
                    std::int64_t nowMs);

    std::int64_t countOutbox();

    // The user columns in the order read() expects, optionally qualified by a table alias.
    static std::string columns(std::string_view alias = {});
    // Reads a user from the first columns of a row selected with columns().
    static UserRecord read(const Statement &row);

    // Runs `work` on the connection under the store's lock, for stores that keep their own
    // tables in the same database.
    template <typename Work>
    auto locked(Work work)
    {
        const std::lock_guard lock(mutex_);
        return work(connection_);
    }

private:
    std::optional<UserRecord> findWhere(const char *condition, auto bindKey);

    std::mutex mutex_;
    Connection connection_;
};

} // namespace tailwise::backend
