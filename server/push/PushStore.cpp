#include "PushStore.h"

#include "Uuid.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <set>

namespace tailwise::push {
namespace {

using backend::Connection;
using backend::Statement;
using Cursors = std::unordered_map<std::string, std::int64_t>;

// Append only: a released step is never edited, a change is a new step.
constexpr auto steps = std::to_array<std::string_view>({
    R"sql(
    CREATE TABLE players (
        num         INTEGER PRIMARY KEY,
        id          TEXT    NOT NULL UNIQUE,
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
    );
    CREATE TABLE notifications (
        seq               INTEGER PRIMARY KEY AUTOINCREMENT,
        id                TEXT    NOT NULL,
        alert             TEXT,
        content_available INTEGER NOT NULL,
        custom            TEXT    NOT NULL,
        created_at        INTEGER NOT NULL
    );
    -- Keyed by the player's number, not its id: a notification to many players touches one
    -- small row in each player's part of the table, and every page it touches is written
    -- again at the commit.
    CREATE TABLE deliveries (
        player INTEGER NOT NULL,
        seq    INTEGER NOT NULL,
        badge  INTEGER NOT NULL,
        PRIMARY KEY (player, seq)
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

} // namespace

// What a notification runs for each player it names; prepared once, used on the committing
// thread only.
struct PushStore::NotificationStatements
{
    explicit NotificationStatements(Connection &db)
        : notification(db.prepare("INSERT INTO notifications (id, alert, content_available, "
                                  "custom, created_at) VALUES (?1, ?2, ?3, ?4, ?5)")),
          // ?2: 0 leaves the badge, 1 sets it to ?3, 2 adds ?3; never below 0 nor past ?4.
          recipient(db.prepare("UPDATE players SET badge = CASE ?2 WHEN 1 THEN max(0, min(?4, ?3)) "
                               "WHEN 2 THEN max(0, min(?4, badge + ?3)) ELSE badge END, "
                               "kept = kept + 1 WHERE id = ?1 AND subscribed = 1 "
                               "RETURNING num, badge, kept, delivered")),
          known(db.prepare("SELECT 1 FROM players WHERE id = ?1")),
          deliver(db.prepare("INSERT INTO deliveries (player, seq, badge) VALUES (?1, ?2, ?3)")),
          // Everything older than the newest ?2.
          dropOldest(db.prepare("DELETE FROM deliveries WHERE player = ?1 AND seq < "
                                "(SELECT seq FROM deliveries WHERE player = ?1 "
                                "ORDER BY seq DESC LIMIT 1 OFFSET ?2 - 1) RETURNING seq")),
          kept(db.prepare("UPDATE players SET kept = ?2 WHERE num = ?1")),
          orphan(db.prepare("DELETE FROM notifications WHERE seq = ?1 AND NOT EXISTS "
                            "(SELECT 1 FROM deliveries WHERE seq = ?1)"))
    {}
    Statement notification, recipient, known, deliver, dropOldest, kept, orphan;
};

PushStore::PushStore(const std::filesystem::path &dir, std::size_t maxQueuedPerPlayer)
    : maxQueuedPerPlayer_(std::max<std::size_t>(1, maxQueuedPerPlayer)),
      connection_(databasePath(dir)), readers_(databasePath(dir), 2),
      commits_(migrated(connection_), cursorDelay)
{}

PushStore::~PushStore() = default;

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
            if (!statements_)
                statements_ = std::make_unique<NotificationStatements>(db);
            NotificationStatements &sql = *statements_;
            outcome = {};
            recipients.clear();
            sql.notification.reset();
            sql.notification.bind(1, notificationId)
                .bind(2, parts.alert ? std::optional<std::string_view>(*parts.alert) : std::nullopt)
                .bind(3, std::int64_t{parts.contentAvailable ? 1 : 0})
                .bind(4, parts.custom)
                .bind(5, nowMs())
                .run();
            outcome.seq = db.lastInsertId();
            const auto maxKept = static_cast<std::int64_t>(maxQueuedPerPlayer_);
            std::set<std::int64_t> dropped;
            for (const std::string &id : playerIds) {
                sql.recipient.reset();
                sql.recipient.bind(1, id)
                    .bind(2, std::int64_t{static_cast<int>(badge.rule)})
                    .bind(3, badge.count)
                    .bind(4, maxBadge);
                if (!sql.recipient.step()) {
                    sql.known.reset();
                    if (!sql.known.bind(1, id).step())
                        outcome.unknown.push_back(id);
                    continue;
                }
                const std::int64_t player = sql.recipient.integer(0);
                const std::int64_t newBadge = sql.recipient.integer(1);
                const std::int64_t kept = sql.recipient.integer(2);
                const std::int64_t stored = sql.recipient.integer(3);
                sql.recipient.reset();
                sql.deliver.bind(1, player).bind(2, outcome.seq).bind(3, newBadge).run();
                recipients.push_back({id, newBadge});
                if (kept <= maxKept)
                    continue;
                // Past the limit: the oldest go, and those not yet written are worth a word.
                std::optional<std::int64_t> cursor;
                std::size_t undelivered = 0;
                sql.dropOldest.reset();
                sql.dropOldest.bind(1, player).bind(2, maxKept);
                while (sql.dropOldest.step()) {
                    const std::int64_t seq = sql.dropOldest.integer(0);
                    dropped.insert(seq);
                    if (seq > stored && !cursor)
                        cursor = deliveredUpTo(id, stored);
                    undelivered += seq > stored && seq > *cursor;
                }
                sql.dropOldest.reset();
                sql.kept.bind(1, player).bind(2, maxKept).run();
                if (undelivered)
                    outcome.dropped.emplace_back(id, undelivered);
            }
            outcome.recipients = recipients.size();
            if (recipients.empty()) {
                dropped.insert(outcome.seq);
                outcome.seq = 0;
            }
            for (const std::int64_t seq : dropped)
                sql.orphan.bind(1, seq).run();
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
        auto player = db.prepare("SELECT num, delivered FROM players WHERE id = ?1");
        player.bind(1, playerId);
        if (!player.step())
            return std::nullopt;
        const std::int64_t from = after ? *after : deliveredUpTo(playerId, player.integer(1));
        auto rows = db.prepare("SELECT d.seq, d.badge, n.alert, n.content_available, n.custom "
                               "FROM deliveries d JOIN notifications n ON n.seq = d.seq "
                               "WHERE d.player = ?1 AND d.seq > ?2 ORDER BY d.seq");
        rows.bind(1, player.integer(0)).bind(2, from);
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
