#pragma once

#include "CommitQueue.h"
#include "DeviceEvent.h"
#include "NotificationRequest.h"
#include "backend/Sqlite.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tailwise::push {

// What a registration or an update says about a player; what it leaves out stays as it was
// (a new player: subscribed, badge 0).
struct PlayerFields
{
    std::optional<std::int64_t> deviceType;
    std::optional<std::string> identifier;
    std::optional<bool> subscribed;
    std::optional<std::int64_t> badge;
};

struct Recipient
{
    std::string playerId;
    std::int64_t badge; // after this notification
};

struct NotificationOutcome
{
    std::int64_t seq = 0; // 0: nothing stored, nobody subscribed was named
    std::size_t recipients = 0;
    std::vector<std::string> unknown;
    // Players whose oldest undelivered notifications made room for this one, and how many.
    std::vector<std::pair<std::string, std::size_t>> dropped;
};

// A notification waiting for (or already written to) a player's streams.
struct QueuedNotification
{
    std::int64_t seq;
    std::int64_t badge;
    EventParts parts;
};

// Players, notifications and what each player still has to receive, in SQLite
// (<dir>/push.sqlite3, WAL, synchronous=FULL). A player keeps at most `maxQueuedPerPlayer`
// notifications, delivered or not: the delivered ones answer a reconnecting device's
// Last-Event-ID; past the limit the oldest go. Writes share commits (CommitQueue); a
// notification is committed before addNotification returns.
class PushStore
{
public:
    // Called on the committing thread right after a notification's commit, in commit order.
    using Publisher = std::function<void(std::int64_t seq, const EventParts &parts,
                                         const std::vector<Recipient> &recipients)>;

    PushStore(const std::filesystem::path &dir, std::size_t maxQueuedPerPlayer);
    ~PushStore();

    // The player with this identifier, updated, or a new one; its id.
    std::string registerPlayer(const PlayerFields &fields);
    // False when there is no such player.
    bool updatePlayer(const std::string &id, const PlayerFields &fields);
    NotificationOutcome addNotification(const std::string &notificationId,
                                        const std::vector<std::string> &playerIds,
                                        const BadgeChange &badge, const EventParts &parts,
                                        const Publisher &published);

    // What the player has after `after`, or after what its streams were last written (when
    // none is given), oldest first; nullopt when there is no such player.
    std::optional<std::vector<QueuedNotification>> queued(const std::string &playerId,
                                                          std::optional<std::int64_t> after);
    // A stream of the player has written everything up to `seq`. Stored lazily: a crash may
    // forget it, and the device then receives those notifications again.
    void delivered(const std::string &playerId, std::int64_t seq);

private:
    struct NotificationStatements;

    std::int64_t deliveredUpTo(const std::string &playerId, std::int64_t stored);
    void flushCursors(backend::Connection &connection,
                      const std::shared_ptr<std::unordered_map<std::string, std::int64_t>> &batch);

    const std::size_t maxQueuedPerPlayer_;
    backend::Connection connection_;
    backend::ReadPool readers_;
    // Delivery cursors not yet written, and those being written.
    std::mutex cursorsMutex_;
    std::unordered_map<std::string, std::int64_t> pendingCursors_;
    std::unordered_map<std::string, std::int64_t> flushingCursors_;
    bool flushPosted_ = false;
    std::unique_ptr<NotificationStatements> statements_;
    // Last: its thread stops before the connection closes.
    CommitQueue commits_;
};

} // namespace tailwise::push
