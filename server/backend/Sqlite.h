#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

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
    Statement &bindNull(int index);

    // Advances to the next row; false when done. Throws SqliteError on failure.
    bool step();
    // Runs a statement that returns no rows, then resets it for another run.
    void run();

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

} // namespace tailwise::backend
