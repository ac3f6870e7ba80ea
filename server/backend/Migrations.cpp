#include "Migrations.h"

#include <array>
#include <string_view>

namespace tailwise::backend {
namespace {

// Append only: a released step is never edited, a change is a new step.
constexpr auto steps = std::to_array<std::string_view>({
    R"sql(
    CREATE TABLE users (
        id                   INTEGER PRIMARY KEY AUTOINCREMENT,
        email                TEXT    NOT NULL UNIQUE COLLATE NOCASE,
        password_hash        TEXT,
        register_type        TEXT    NOT NULL,
        name                 TEXT    NOT NULL DEFAULT '',
        phone                TEXT    NOT NULL DEFAULT '',
        gender               TEXT    NOT NULL DEFAULT '',
        age                  TEXT    NOT NULL DEFAULT '',
        dog_info             TEXT    NOT NULL DEFAULT '',
        dog_name             TEXT    NOT NULL DEFAULT '',
        dogs_count           TEXT    NOT NULL DEFAULT '',
        about                TEXT    NOT NULL DEFAULT '',
        dog_address          TEXT    NOT NULL DEFAULT '',
        latitude             REAL,
        longitude            REAL,
        profile_pic          TEXT    NOT NULL DEFAULT '',
        status               TEXT    NOT NULL DEFAULT 'Offline',
        verify_status        TEXT    NOT NULL DEFAULT '0',
        activate_status      TEXT    NOT NULL DEFAULT 'activate',
        device_token         TEXT    NOT NULL DEFAULT '',
        profile_complete     INTEGER NOT NULL DEFAULT 0,
        deactivated          INTEGER NOT NULL DEFAULT 0,
        deactivation_reason  TEXT,
        deactivation_message TEXT,
        deactivated_at       INTEGER,
        failed_logins        INTEGER NOT NULL DEFAULT 0,
        locked_until         INTEGER NOT NULL DEFAULT 0,
        last_seen            INTEGER NOT NULL,
        created_at           INTEGER NOT NULL
    );
    CREATE TABLE sessions (
        token_digest TEXT    PRIMARY KEY,
        user_id      INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,
        created_at   INTEGER NOT NULL
    ) WITHOUT ROWID;
    CREATE INDEX sessions_by_user ON sessions(user_id);
    CREATE TABLE outbox (
        id         INTEGER PRIMARY KEY AUTOINCREMENT,
        recipient  TEXT    NOT NULL,
        subject    TEXT    NOT NULL,
        body       TEXT    NOT NULL,
        file_name  TEXT    NOT NULL,
        created_at INTEGER NOT NULL
    );
    )sql",
    // Favourites per pair, and an R*Tree over the stored positions that triggers keep in
    // step with the users table, so partner search never scans every user.
    R"sql(
    CREATE TABLE favourites (
        user_id      INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,
        favourite_id INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,
        created_at   INTEGER NOT NULL,
        PRIMARY KEY (user_id, favourite_id)
    ) WITHOUT ROWID;
    CREATE VIRTUAL TABLE user_positions USING rtree(id, min_lat, max_lat, min_lon, max_lon);
    INSERT INTO user_positions
        SELECT id, latitude, latitude, longitude, longitude FROM users
        WHERE latitude IS NOT NULL AND longitude IS NOT NULL;
    CREATE TRIGGER users_position_insert AFTER INSERT ON users
        WHEN NEW.latitude IS NOT NULL AND NEW.longitude IS NOT NULL
    BEGIN
        INSERT INTO user_positions
            VALUES (NEW.id, NEW.latitude, NEW.latitude, NEW.longitude, NEW.longitude);
    END;
    CREATE TRIGGER users_position_update AFTER UPDATE OF latitude, longitude ON users
    BEGIN
        DELETE FROM user_positions WHERE id = NEW.id;
        INSERT INTO user_positions
            SELECT NEW.id, NEW.latitude, NEW.latitude, NEW.longitude, NEW.longitude
            WHERE NEW.latitude IS NOT NULL AND NEW.longitude IS NOT NULL;
    END;
    CREATE TRIGGER users_position_delete AFTER DELETE ON users
    BEGIN
        DELETE FROM user_positions WHERE id = OLD.id;
    END;
    )sql",
    // Social accounts keep the identity that proved them; a mailed password waits beside the
    // old one until either is used; sign-in attempts are counted before the hash runs; and
    // sessions remember their last use so they can end when idle.
    R"sql(
    ALTER TABLE users ADD COLUMN identity_issuer TEXT;
    ALTER TABLE users ADD COLUMN identity_subject TEXT;
    CREATE UNIQUE INDEX users_by_identity ON users(identity_issuer, identity_subject)
        WHERE identity_subject IS NOT NULL;
    ALTER TABLE users ADD COLUMN reset_hash TEXT;
    ALTER TABLE users ADD COLUMN reset_expires_at INTEGER NOT NULL DEFAULT 0;
    ALTER TABLE users ADD COLUMN last_attempt_at INTEGER NOT NULL DEFAULT 0;
    ALTER TABLE sessions ADD COLUMN last_used INTEGER NOT NULL DEFAULT 0;
    UPDATE sessions SET last_used = created_at;
    )sql",
    // Lists that must stay cheap however many users there are: a page of users by id (with or
    // without a gender), the users without a position, and who still shows a picture.
    R"sql(
    CREATE INDEX users_by_gender ON users(gender, id);
    CREATE INDEX users_unplaced ON users(id) WHERE latitude IS NULL OR longitude IS NULL;
    CREATE INDEX users_unplaced_by_gender ON users(gender, id)
        WHERE latitude IS NULL OR longitude IS NULL;
    CREATE INDEX users_by_picture ON users(profile_pic) WHERE profile_pic <> '';
    )sql",
});

} // namespace

int migrate(Connection &connection)
{
    return applyMigrations(connection, steps);
}

} // namespace tailwise::backend
