#pragma once

#include <sqlite3.h>

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tailwise::backend {

class SqliteError : public std::runtime_error
{
public:
    SqliteError(int code, const std::string &message) : std::runtime_error(message), code_(code) {}
    int code() const { return code_; }
    bool isConstraint() const { return (code_ & 0xff) == SQLITE_CONSTRAINT; }

private:
    int code_;
};

class Statement
{
public:
    Statement(sqlite3 *db, std::string_view sql);
    ~Statement();
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

    Statement &bind(int index, std::string_view text);
    Statement &bind(int index, const std::string &text)
    {
        return bind(index, std::string_view(text));
    }
    Statement &bind(int index, const char *text) { return bind(index, std::string_view(text)); }
    Statement &bind(int index, std::int64_t value);
    Statement &bind(int index, double value);
    Statement &bind(int index, std::optional<std::string_view> text);
    Statement &bind(int index, std::optional<double> value);
    Statement &bind(int index, std::optional<std::int64_t> value);
    Statement &bindNull(int index);

    // Advances to the next row; false when done. Throws SqliteError on failure.
    bool step();
    // Runs a statement that returns no rows, then resets it for another run.
    void run();
    // Ready to step again from the first row, with new bindings.
    void reset();

    std::string text(int column) const;
    std::optional<std::string> optionalText(int column) const;
    std::int64_t integer(int column) const;
    std::optional<double> optionalReal(int column) const;

private:
    sqlite3 *db_;
    sqlite3_stmt *statement_ = nullptr;
};

class Connection
{
public:
    enum class Access
    {
        readWrite,
        readOnly
    };

    explicit Connection(const std::string &path, Access access = Access::readWrite);
    ~Connection();
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    void exec(std::string_view sql);
    Statement prepare(std::string_view sql) { return Statement(db_, sql); }
    std::int64_t lastInsertId() const { return sqlite3_last_insert_rowid(db_); }
    int changes() const { return sqlite3_changes(db_); }
    // False once a failure has rolled the open transaction back by itself (a full disk, an
    // I/O error), so later statements would run outside it.
    bool inTransaction() const { return sqlite3_get_autocommit(db_) == 0; }

private:
    sqlite3 *db_ = nullptr;
};

// Rolls back unless committed, so an exception anywhere inside leaves nothing behind.
class Transaction
{
public:
    explicit Transaction(Connection &connection);
    ~Transaction();
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;
    void commit();

private:
    Connection &connection_;
    bool done_ = false;
};

// WAL, so readers never wait for the writer, and synchronous=FULL, so a commit that returned
// survives a power cut, not only a crash.
void makeDurable(Connection &connection);

// Brings a database to the newest of `steps`, one version per transaction, recording the
// version in a `schema_version` table. Steps are append only: a released step is never
// edited, a change is a new step. Refuses a database written by a newer server.
int applyMigrations(Connection &connection, std::span<const std::string_view> steps);

// Hands out a few read-only connections, one caller each; WAL lets them read while the
// writer writes, so a long search never holds up a sign-in.
class ReadPool
{
public:
    ReadPool(const std::string &path, std::size_t size);

    template <typename Work>
    auto run(Work work)
    {
        Connection &connection = acquire();
        struct Release
        {
            ReadPool &pool;
            Connection &connection;
            ~Release() { pool.release(connection); }
        } release{*this, connection};
        return work(connection);
    }

private:
    Connection &acquire();
    void release(Connection &connection);

    std::string path_;
    std::size_t size_;
    std::mutex mutex_;
    std::condition_variable available_;
    std::vector<std::unique_ptr<Connection>> connections_;
    std::vector<Connection *> idle_;
};

} // namespace tailwise::backend
