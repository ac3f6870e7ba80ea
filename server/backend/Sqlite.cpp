#include "Sqlite.h"

namespace tailwise::backend {
namespace {

[[noreturn]] void fail(sqlite3 *db, int code, std::string_view what)
{
    throw SqliteError(code,
                      std::string(what) + ": " + (db ? sqlite3_errmsg(db) : sqlite3_errstr(code)));
}

} // namespace

Statement::Statement(sqlite3 *db, std::string_view sql) : db_(db)
{
    const int rc =
        sqlite3_prepare_v2(db, sql.data(), static_cast<int>(sql.size()), &statement_, nullptr);
    if (rc != SQLITE_OK)
        fail(db, rc, "prepare");
}

Statement::~Statement()
{
    sqlite3_finalize(statement_);
}

Statement &Statement::bind(int index, std::string_view text)
{
    const int rc = sqlite3_bind_text(statement_, index, text.data(), static_cast<int>(text.size()),
                                     SQLITE_TRANSIENT);
    if (rc != SQLITE_OK)
        fail(db_, rc, "bind");
    return *this;
}

Statement &Statement::bind(int index, std::int64_t value)
{
    const int rc = sqlite3_bind_int64(statement_, index, value);
    if (rc != SQLITE_OK)
        fail(db_, rc, "bind");
    return *this;
}

Statement &Statement::bind(int index, double value)
{
    const int rc = sqlite3_bind_double(statement_, index, value);
    if (rc != SQLITE_OK)
        fail(db_, rc, "bind");
    return *this;
}

Statement &Statement::bind(int index, std::optional<std::string_view> text)
{
    return text ? bind(index, *text) : bindNull(index);
}

Statement &Statement::bind(int index, std::optional<double> value)
{
    return value ? bind(index, *value) : bindNull(index);
}

Statement &Statement::bind(int index, std::optional<std::int64_t> value)
{
    return value ? bind(index, *value) : bindNull(index);
}

Statement &Statement::bindNull(int index)
{
    const int rc = sqlite3_bind_null(statement_, index);
    if (rc != SQLITE_OK)
        fail(db_, rc, "bind");
    return *this;
}

bool Statement::step()
{
    const int rc = sqlite3_step(statement_);
    if (rc == SQLITE_ROW)
        return true;
    if (rc == SQLITE_DONE)
        return false;
    fail(db_, rc, "step");
}

void Statement::run()
{
    while (step()) {
    }
    // Ready to run again with new bindings, as bulk inserts do.
    reset();
}

void Statement::reset()
{
    sqlite3_reset(statement_);
}

std::string Statement::text(int column) const
{
    const auto *data = sqlite3_column_text(statement_, column);
    if (!data)
        return {};
    return {reinterpret_cast<const char *>(data),
            static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

std::optional<std::string> Statement::optionalText(int column) const
{
    if (sqlite3_column_type(statement_, column) == SQLITE_NULL)
        return std::nullopt;
    return text(column);
}

std::int64_t Statement::integer(int column) const
{
    return sqlite3_column_int64(statement_, column);
}

std::optional<double> Statement::optionalReal(int column) const
{
    if (sqlite3_column_type(statement_, column) == SQLITE_NULL)
        return std::nullopt;
    return sqlite3_column_double(statement_, column);
}

Connection::Connection(const std::string &path, Access access)
{
    const int mode = access == Access::readOnly ? SQLITE_OPEN_READONLY
                                                : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    const int rc = sqlite3_open_v2(path.c_str(), &db_, mode | SQLITE_OPEN_NOMUTEX, nullptr);
    if (rc != SQLITE_OK) {
        const std::string message = db_ ? sqlite3_errmsg(db_) : sqlite3_errstr(rc);
        sqlite3_close(db_);
        throw SqliteError(rc, "open " + path + ": " + message);
    }
    sqlite3_busy_timeout(db_, 5000);
    sqlite3_extended_result_codes(db_, 1);
}

Connection::~Connection()
{
    sqlite3_close(db_);
}

void Connection::exec(std::string_view sql)
{
    char *error = nullptr;
    const std::string text(sql);
    const int rc = sqlite3_exec(db_, text.c_str(), nullptr, nullptr, &error);
    if (rc != SQLITE_OK) {
        const std::string message = error ? error : sqlite3_errstr(rc);
        sqlite3_free(error);
        throw SqliteError(rc, "exec: " + message);
    }
}

Transaction::Transaction(Connection &connection) : connection_(connection)
{
    connection_.exec("BEGIN IMMEDIATE");
}

Transaction::~Transaction()
{
    if (!done_) {
        try {
            connection_.exec("ROLLBACK");
        } catch (const SqliteError &) {
            // Nothing more can be done from a destructor; SQLite rolls back on close anyway.
        }
    }
}

void Transaction::commit()
{
    connection_.exec("COMMIT");
    done_ = true;
}

void makeDurable(Connection &connection)
{
    connection.exec("PRAGMA journal_mode=WAL");
    connection.exec("PRAGMA synchronous=FULL");
}

int applyMigrations(Connection &connection, std::span<const std::string_view> steps)
{
    connection.exec("CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL)");
    int version = 0;
    {
        auto query = connection.prepare("SELECT version FROM schema_version");
        if (query.step())
            version = static_cast<int>(query.integer(0));
    }
    if (version > static_cast<int>(steps.size()))
        throw std::runtime_error("database schema version " + std::to_string(version) +
                                 " is newer than this server supports (" +
                                 std::to_string(steps.size()) + ")");
    while (version < static_cast<int>(steps.size())) {
        Transaction transaction(connection);
        connection.exec(steps[static_cast<std::size_t>(version)]);
        ++version;
        connection.exec("DELETE FROM schema_version");
        connection.prepare("INSERT INTO schema_version (version) VALUES (?)")
            .bind(1, std::int64_t{version})
            .run();
        transaction.commit();
    }
    return version;
}

ReadPool::ReadPool(const std::string &path, std::size_t size) : path_(path), size_(size) {}

Connection &ReadPool::acquire()
{
    std::unique_lock lock(mutex_);
    // Connections open on first need, after the writer has created the schema.
    if (idle_.empty() && connections_.size() < size_) {
        connections_.push_back(std::make_unique<Connection>(path_, Connection::Access::readOnly));
        return *connections_.back();
    }
    available_.wait(lock, [this] { return !idle_.empty(); });
    Connection *connection = idle_.back();
    idle_.pop_back();
    return *connection;
}

void ReadPool::release(Connection &connection)
{
    {
        const std::lock_guard lock(mutex_);
        idle_.push_back(&connection);
    }
    available_.notify_one();
}

} // namespace tailwise::backend
