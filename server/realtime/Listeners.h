#pragma once

#include "Query.h"
#include "Tree.h"
#include "http/HttpServer.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>

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

// A write a stream's client asked for when its stream closes (`onDisconnect`): `data` is kept
// as the client sent it, so server values such as timestamps resolve when it runs.
struct DisconnectOperation
{
    Path path;
    Json data; // null removes
};

struct ListenerOptions
{
    std::size_t maxQueuedBytes = 16 * 1024 * 1024;
    std::chrono::milliseconds keepAlive{std::chrono::seconds(30)};
    // What one stream may leave behind to run when it closes.
    std::size_t maxDisconnectOperations = 64;
    std::size_t maxDisconnectBytes = 1024 * 1024;
};

std::string sseEvent(std::string_view name, const Json &data);

// One SSE stream on one location. The database's fan-out only appends to its queue, under a
// mutex held for no more than that; the HTTP session drains it. A listener that lets its
// queue grow past the bound is cancelled rather than allowed to hold memory or slow writers.
//
// A stream with a query keeps a copy of the whole location, brought up to date by every
// change, and sends the query's result again (a `put` at "/") whenever it differs from the
// one sent last. Plain, but exact whatever the order, the filters and the limits.
class Listener : public net::ResponseStream, public std::enable_shared_from_this<Listener>
{
public:
    Listener(Path path, std::string connectionId, std::uint64_t afterSeq, ListenerOptions options,
             std::weak_ptr<ListenerRegistry> registry, std::optional<Query> query = std::nullopt);

    const Path &path() const { return path_; }
    const std::string &connectionId() const { return connectionId_; }
    // Changes up to this one are already in the listener's first `put`.
    std::uint64_t afterSeq() const { return afterSeq_; }
    bool hasQuery() const { return query_.has_value(); }

    // Queues `connected` and the first `put`, from the location's stored value as of afterSeq.
    void begin(const Json &stored);
    // Queues an event; `bounded` false for the first events, which may be any size.
    void deliver(std::string event, bool bounded = true);
    bool finished() const;

    // For a query stream, called by the fan-out only: `value` is now stored at `written`, a
    // location at, above or below the listened one; refresh() then sends the new result.
    void track(const Path &written, const Json &value);
    void refresh();

    // Throws Refusal: 404 once the stream has closed, 400 past the number of operations, 413
    // past their size.
    void addDisconnectOperation(DisconnectOperation operation, std::size_t bytes);

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
    std::vector<DisconnectOperation> onDisconnect_;
    std::size_t onDisconnectBytes_ = 0;

    // Query streams only; used by the fan-out alone, which runs one change at a time.
    const std::optional<Query> query_;
    Tree whole_;    // the location's value, rooted at the listened path
    Json lastSent_; // the result last sent, stored form, null when empty
};

// The listeners by location. Keys are joined with a byte no key may contain, so a location's
// listeners and those of everything below it are one range of the map.
class ListenerRegistry
{
public:
    using DisconnectHook = std::function<void(std::vector<DisconnectOperation>)>;

    void add(const std::shared_ptr<Listener> &listener);
    // Forgets a closed listener and passes what it left to run to the disconnect hook.
    void remove(const Listener *listener, std::vector<DisconnectOperation> operations = {});
    // The open stream with this connection id, or nullptr.
    std::shared_ptr<Listener> find(const std::string &connectionId) const;
    // Hands the change's events to every listener it concerns; never blocks on a client.
    void publish(const Change &change);
    std::size_t size() const;
    // Called, under the registry's lock, with the operations of each stream that closes; it
    // must only queue them. An empty hook drops them.
    void setDisconnectHook(DisconnectHook hook);

private:
    using Entries = std::multimap<std::string, std::shared_ptr<Listener>>;

    template <typename Visit>
    void atOrAbove(const Path &path, Visit visit) const;
    template <typename Visit>
    void atOrBelow(const Path &path, Visit visit) const;

    mutable std::mutex mutex_;
    Entries entries_;
    std::unordered_map<std::string, std::shared_ptr<Listener>> byConnection_;
    DisconnectHook disconnectHook_;
};

} // namespace tailwise::realtime
