#pragma once

#include "PushStore.h"
#include "http/HttpServer.h"
#include "http/QueuedBytes.h"

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace tailwise::push {

class DeviceStreams;

struct StreamLimits
{
    // Notifications one stream may have waiting to be written before it is ended (the device
    // reconnects and reads the rest from the store).
    std::size_t maxQueued = 100;
    // Streams one player may have open at once.
    std::size_t maxPerPlayer = 4;
    // What all streams together may hold waiting to be written; a stream that would pass it
    // is ended instead.
    std::size_t maxTotalBytes = 64 * 1024 * 1024;
    std::chrono::milliseconds keepAlive{std::chrono::seconds(30)};
};

// One device's event stream. Notifications arrive from the store's commits in commit order
// (deliver) and, once, from what the player had waiting when the stream opened (begin); each
// is queued once, in order, whichever way it came. After a write completes, the player's
// delivery cursor moves to the last notification in it.
class DeviceStream : public net::ResponseStream, public std::enable_shared_from_this<DeviceStream>
{
public:
    using Written = std::function<void(const std::string &playerId, std::int64_t seq)>;

    DeviceStream(std::string playerId, StreamLimits limits,
                 std::shared_ptr<net::QueuedBytes> budget, std::weak_ptr<DeviceStreams> registry,
                 Written written);

    const std::string &playerId() const { return playerId_; }

    // What the player had waiting when the stream was registered; queued ahead of what
    // arrived since.
    void begin(std::vector<std::pair<std::int64_t, net::QueuedEvent>> backlog);
    void deliver(std::int64_t seq, const net::QueuedEvent &event);

    void start(std::function<void()> ready, std::function<void()> abort) override;
    Chunk next() override;
    std::string idle() override;
    std::chrono::milliseconds idleTimeout() const override { return limits_.keepAlive; }
    void close() override;

private:
    struct Queued
    {
        std::int64_t seq;
        net::QueuedEvent event;
    };

    // Under the mutex: queues `seq` unless it is already queued or written.
    bool queueLocked(std::int64_t seq, const net::QueuedEvent &event);
    void endLocked();
    void wake(bool abortWrite);

    const std::string playerId_;
    const StreamLimits limits_;
    const std::shared_ptr<net::QueuedBytes> budget_;
    const std::weak_ptr<DeviceStreams> registry_;
    const Written written_;

    std::mutex mutex_;
    std::deque<Queued> queued_;
    std::vector<Queued> early_; // delivered before begin()
    std::int64_t last_ = 0;     // the newest notification queued
    std::int64_t writing_ = 0;  // the newest in the write under way
    bool began_ = false;
    bool ended_ = false;
    bool closed_ = false;
    std::function<void()> ready_;
    std::function<void()> abort_;
};

// The open device streams by player; hands each committed notification to its recipients'
// streams, building the event once per player.
class DeviceStreams : public std::enable_shared_from_this<DeviceStreams>
{
public:
    DeviceStreams(StreamLimits limits, DeviceStream::Written written);

    // A new stream of the player, registered so that it receives every notification committed
    // from now on; nullptr when the player has as many as allowed.
    std::shared_ptr<DeviceStream> open(const std::string &playerId);
    void remove(const DeviceStream *stream);

    net::QueuedEvent event(const EventText &text, std::int64_t badge);
    // Called in commit order (PushStore::Publisher).
    void publish(std::int64_t seq, const EventParts &parts,
                 const std::vector<Recipient> &recipients);
    std::size_t size() const;

private:
    const StreamLimits limits_;
    const DeviceStream::Written written_;
    const std::shared_ptr<net::QueuedBytes> budget_;
    mutable std::mutex mutex_;
    std::unordered_map<std::string, std::vector<std::shared_ptr<DeviceStream>>> byPlayer_;
};

} // namespace tailwise::push
