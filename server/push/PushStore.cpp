#include "PushStore.h"

#include "Uuid.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace tailwise::push {
namespace {

using backend::Connection;
using backend::Statement;
using Cursors = std::unordered_map<std::string, std::int64_t>;

// Append only: a released step is never edited, a change is a new step.
constexpr auto steps = std::to_array<std::string_view>({
    R"sql(
    CREATE TABLE players (
        id          TEXT    PRIMARY KEY,
        identifier  TEXT    UNIQUE,
        device_type INTEGER NOT NULL,
        subscribed  INTEGER NOT NULL DEFAULT 1,
        badge       INTEGER NOT NULL DEFAULT 0,
        -- the last notification written to one of its streams
        delivered   INTEGER NOT NULL DEFAULT 0,
        -- how many deliveries it keeps
        kept        INTEGER NOT NULL DEFAULT 0,
        created_at  INTEGER NOT NULL,
        updated_at  INTEGER NOT NULL
    ) WITHOUT ROWID;
    CREATE TABLE notifications (
        seq               INTEGER PRIMARY KEY AUTOINCREMENT,
        id                TEXT    NOT NULL,
        alert             TEXT,
        content_available INTEGER NOT NULL,
        custom            TEXT    NOT NULL,
        created_at        INTEGER NOT NULL
    );
    CREATE TABLE deliveries (
        player_id TEXT    NOT NULL,
        seq       INTEGER NOT NULL,
        badge     INTEGER NOT NULL,
        PRIMARY KEY (player_id, seq)
    ) WITHOUT ROWID;
    CREATE INDEX deliveries_by_notification ON deliveries(seq);
    )sql",
});

// Cursors wait this long for a commit to ride along with before committing by themselves.
constexpr auto cursorDelay = std::chrono::milliseconds(100);

std::int64_t nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string databasePath(const std::filesystem::path &dir)
{
    std::filesystem::create_directories(dir);
    return (dir / "push.sqlite3").string();
}

Connection &migrated(Connection &connection)
{
    backend::makeDurable(connection);
    backend::applyMigrations(connection, steps);
    return connection;
}

std::optional<std::int64_t> asInteger(std::optional<bool> flag)
{
    return flag ? std::optional<std::int64_t>(*flag ? 1 : 0) : std::nullopt;
}

void applyFields(Connection &db, const std::string &id, const PlayerFields &fields)
{
    db.prepare("UPDATE players SET device_type = coalesce(?2, device_type), "
               "subscribed = coalesce(?3, subscribed), badge = coalesce(?4, badge), "
               "updated_at = ?5 WHERE id = ?1")
        .bind(1, id)
        .bind(2, fields.deviceType)
        .bind(3, asInteger(fields.subscribed))
        .bind(4, fields.badge)
        .bind(5, nowMs())
        .run();
}

// The statements one notification runs for each player it names, prepared once.
struct NotificationStatements
{
    explicit NotificationStatements(Connection &db)
        : player(
              db.prepare("SELECT subscribed, badge, delivered, kept FROM players WHERE id = ?1")),
          deliver(db.prepare("INSERT INTO deliveries (player_id, seq, badge) VALUES (?1, ?2, ?3)")),
          update(db.prepare("UPDATE players SET badge = ?2, kept = ?3 WHERE id = ?1")),
          oldest(
              db.prepare("SELECT seq FROM deliveries WHERE player_id = ?1 ORDER BY seq LIMIT ?2")),
          forget(db.prepare("DELETE FROM deliveries WHERE player_id = ?1 AND seq = ?2")),
          orphan(db.prepare("DELETE FROM notifications WHERE seq = ?1 AND NOT EXISTS "
                            "(SELECT 1 FROM deliveries WHERE seq = ?1)"))
    {}
    Statement player, deliver, update, oldest, forget, orphan;
};

} // namespace

PushStore::PushStore(const std::filesystem::path &dir, std::size_t maxQueuedPerPlayer)
    : maxQueuedPerPlayer_(std::max<std::size_t>(1, maxQueuedPerPlayer)),
      connection_(databasePath(dir)), readers_(databasePath(dir), 2),
      commits_(migrated(connection_), cursorDelay)
{}

std::string PushStore::registerPlayer(const PlayerFields &fields)
{
    std::string id;
    commits_.run([&](Connection &db) {
        if (fields.identifier) {
            auto existing = db.prepare("SELECT id FROM players WHERE identifier = ?1");
            existing.bind(1, *fields.identifier);
            if (existing.step()) {
                id = existing.text(0);
                applyFields(db, id, fields);
                return;
            }
        }
        id = newUuid();
        const std::int64_t now = nowMs();
        db.prepare("INSERT INTO players (id, identifier, device_type, subscribed, badge, "
                   "created_at, updated_at) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?6)")
            .bind(1, id)
            .bind(2, fields.identifier ? std::optional<std::string_view>(*fields.identifier)
                                       : std::nullopt)
            .bind(3, fields.deviceType.value_or(0))
            .bind(4, std::int64_t{fields.subscribed.value_or(true) ? 1 : 0})
            .bind(5, fields.badge.value_or(0))
            .bind(6, now)
            .run();
    });
    return id;
}

bool PushStore::updatePlayer(const std::string &id, const PlayerFields &fields)
{
    bool found = false;
    commits_.run([&](Connection &db) {
        applyFields(db, id, fields);
        found = db.changes() > 0;
    });
    return found;
}

NotificationOutcome PushStore::addNotification(const std::string &notificationId,
                                               const std::vector<std::string> &playerIds,
                                               const BadgeChange &badge, const EventParts &parts,
                                               const Publisher &published)
{
    NotificationOutcome outcome;
    std::vector<Recipient> recipients;
    commits_.run(
        [&](Connection &db) {
            // A retried commit starts over.
            outcome = {};
            recipients.clear();
            NotificationStatements sql(db);
            std::vector<std::pair<std::string, Player>> subscribed;
            for (const std::string &id : playerIds) {
                sql.player.reset();
                sql.player.bind(1, id);
                if (!sql.player.step()) {
                    outcome.unknown.push_back(id);
                    continue;
                }
                if (sql.player.integer(0) != 0)
                    subscribed.emplace_back(id, Player{sql.player.integer(1), sql.player.integer(2),
                                                       sql.player.integer(3)});
            }
            sql.player.reset();
            if (subscribed.empty())
                return;
            db.prepare("INSERT INTO notifications (id, alert, content_available, custom, "
                       "created_at) VALUES (?1, ?2, ?3, ?4, ?5)")
                .bind(1, notificationId)
                .bind(2, parts.alert ? std::optional<std::string_view>(*parts.alert) : std::nullopt)
                .bind(3, std::int64_t{parts.contentAvailable ? 1 : 0})
                .bind(4, parts.custom)
                .bind(5, nowMs())
                .run();
            outcome.seq = db.lastInsertId();
            for (auto &[id, player] : subscribed) {
                const std::int64_t newBadge = badge.applyTo(player.badge);
                sql.deliver.bind(1, id).bind(2, outcome.seq).bind(3, newBadge).run();
                std::int64_t kept = player.kept + 1;
                const std::int64_t excess = kept - static_cast<std::int64_t>(maxQueuedPerPlayer_);
                if (excess > 0) {
                    const std::int64_t cursor = deliveredUpTo(id, player.delivered);
                    std::vector<std::int64_t> oldest;
                    sql.oldest.bind(1, id).bind(2, excess);
                    while (sql.oldest.step())
                        oldest.push_back(sql.oldest.integer(0));
                    sql.oldest.reset();
                    std::size_t undelivered = 0;
                    for (const std::int64_t seq : oldest) {
                        sql.forget.bind(1, id).bind(2, seq).run();
                        sql.orphan.bind(1, seq).run();
                        undelivered += seq > cursor;
                    }
                    kept -= static_cast<std::int64_t>(oldest.size());
                    if (undelivered)
                        outcome.dropped.emplace_back(id, undelivered);
                }
                sql.update.bind(1, id).bind(2, newBadge).bind(3, kept).run();
                recipients.push_back({id, newBadge});
            }
            outcome.recipients = recipients.size();
        },
        [&] {
            if (outcome.seq)
                published(outcome.seq, parts, recipients);
        });
    return outcome;
}

std::optional<std::vector<QueuedNotification>> PushStore::queued(const std::string &playerId,
                                                                 std::optional<std::int64_t> after)
{
    return readers_.run([&](Connection &db) -> std::optional<std::vector<QueuedNotification>> {
        auto player = db.prepare("SELECT delivered FROM players WHERE id = ?1");
        player.bind(1, playerId);
        if (!player.step())
            return std::nullopt;
        const std::int64_t from = after ? *after : deliveredUpTo(playerId, player.integer(0));
        auto rows = db.prepare("SELECT d.seq, d.badge, n.alert, n.content_available, n.custom "
                               "FROM deliveries d JOIN notifications n ON n.seq = d.seq "
                               "WHERE d.player_id = ?1 AND d.seq > ?2 ORDER BY d.seq");
        rows.bind(1, playerId).bind(2, from);
        std::vector<QueuedNotification> queued;
        while (rows.step())
            queued.push_back(
                {rows.integer(0), rows.integer(1),
                 EventParts{rows.optionalText(2), rows.integer(3) != 0, rows.text(4)}});
        return queued;
    });
}

void PushStore::delivered(const std::string &playerId, std::int64_t seq)
{
    {
        const std::lock_guard lock(cursorsMutex_);
        std::int64_t &cursor = pendingCursors_[playerId];
        cursor = std::max(cursor, seq);
        if (flushPosted_)
            return;
        flushPosted_ = true;
    }
    auto batch = std::make_shared<Cursors>();
    try {
        commits_.post([this, batch](Connection &db) { flushCursors(db, batch); },
                      [this, batch] {
                          // Written: the database knows them now, unless a newer one came.
                          const std::lock_guard lock(cursorsMutex_);
                          for (const auto &[id, seq] : *batch) {
                              const auto found = flushingCursors_.find(id);
                              if (found != flushingCursors_.end() && found->second <= seq)
                                  flushingCursors_.erase(found);
                          }
                      });
    } catch (const std::exception &) {
        // Closing: the cursor is lost, and the device receives those notifications again.
    }
}

void PushStore::flushCursors(Connection &db, const std::shared_ptr<Cursors> &batch)
{
    {
        const std::lock_guard lock(cursorsMutex_);
        batch->swap(pendingCursors_);
        pendingCursors_.clear();
        flushPosted_ = false;
        for (const auto &[id, seq] : *batch) {
            std::int64_t &flushing = flushingCursors_[id];
            flushing = std::max(flushing, seq);
        }
    }
    auto update = db.prepare("UPDATE players SET delivered = max(delivered, ?2) WHERE id = ?1");
    for (const auto &[id, seq] : *batch)
        update.bind(1, id).bind(2, seq).run();
}

std::int64_t PushStore::deliveredUpTo(const std::string &playerId, std::int64_t stored)
{
    const std::lock_guard lock(cursorsMutex_);
    for (const Cursors *cursors : {&pendingCursors_, &flushingCursors_}) {
        if (const auto found = cursors->find(playerId); found != cursors->end())
            stored = std::max(stored, found->second);
    }
    return stored;
}

} // namespace tailwise::push
