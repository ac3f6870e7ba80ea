#pragma once

#include "Tree.h"
#include "http/HttpServer.h"

#include <deque>
#include <map>
#include <memory>
#include <mutex>

namespace tailwise::realtime {

// What one acknowledged write changed, as listeners are told about it.
struct Change
{
    std::uint64_t seq = 0;
    // Every location set, with its new stored value (null: removed), in order.
    std::vector<std::pair<Path, Json>> writes;
    // Set for a multi-location update whose keys are all direct children of `patchAt`: those
    // listening at or above it get one `patch` event instead of a `put` per child.
    bool patch = false;
    Path patchAt;
};

class ListenerRegistry;

struct ListenerOptions
{
    std::size_t maxQueuedBytes = 16 * 1024 * 1024;
    std::chrono::milliseconds keepAlive{std::chrono::seconds(30)};
};

std::string sseEvent(std::string_view name, const Json &data);

// One SSE stream on one location. The database's fan-out only appends to its queue, under a
// mutex held for no more than that; the HTTP session drains it. A listener that lets its
// queue grow past the bound is cancelled rather than allowed to hold memory or slow writers.
class Listener : public net::ResponseStream, public std::enable_shared_from_this<Listener>
{
public:
    Listener(Path path, std::string connectionId, std::uint64_t afterSeq, ListenerOptions options,
             std::weak_ptr<ListenerRegistry> registry);

    const Path &path() const { return path_; }
    const std::string &connectionId() const { return connectionId_; }
    // Changes up to this one are already in the listener's first `put`.
    std::uint64_t afterSeq() const { return afterSeq_; }

    // Queues an event; `bounded` false for the first events, which may be any size.
    void deliver(std::string event, bool bounded = true);
    bool finished() const;

    void start(std::function<void()> ready) override;
    Chunk next() override;
    std::string idle() override;
    std::chrono::milliseconds idleTimeout() const override { return options_.keepAlive; }
    void close() override;

private:
    const Path path_;
    const std::string connectionId_;
    const std::uint64_t afterSeq_;
    const ListenerOptions options_;
    std::weak_ptr<ListenerRegistry> registry_;

    mutable std::mutex mutex_;
    std::string queued_;
    bool finished_ = false;
    bool closed_ = false;
    std::function<void()> ready_;
};

// The listeners by location. Keys are joined with a byte no key may contain, so a location's
// listeners and those of everything below it are one range of the map.
class ListenerRegistry
{
public:
    void add(const std::shared_ptr<Listener> &listener);
    void remove(const Listener *listener);
    // Hands the change's events to every listener it concerns; never blocks on a client.
    void publish(const Change &change);
    std::size_t size() const;

private:
    using Entries = std::multimap<std::string, std::shared_ptr<Listener>>;

    template <typename Visit>
    void atOrAbove(const Path &path, Visit visit) const;
    template <typename Visit>
    void atOrBelow(const Path &path, Visit visit) const;

    mutable std::mutex mutex_;
    Entries entries_;
};

} // namespace tailwise::realtime
