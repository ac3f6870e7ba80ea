#pragma once

#include "Query.h"
#include "Tree.h"
#include "http/HttpServer.h"
#include "http/QueuedBytes.h"

#include <atomic>
#include <deque>
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
    std::vector<std::pair<Path, NodePtr>> writes;
    // A multi-location update at `at`: every listener it concerns hears of it in one event, a
    // `patch` whose keys are paths, so that nobody ever sees half of it applied.
    bool update = false;
    Path at;
    // The whole tree right after this write; query streams read their result from it.
    NodePtr root;
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
    // What one stream may have waiting to be sent before it is cancelled.
    std::size_t maxQueuedBytes = 16 * 1024 * 1024;
    // What all streams together may have waiting; past it the streams holding the most are
    // cancelled, the largest first.
    std::size_t maxTotalQueuedBytes = 256 * 1024 * 1024;
    std::chrono::milliseconds keepAlive{std::chrono::seconds(30)};
    // What one stream may leave behind to run when it closes.
    std::size_t maxDisconnectOperations = 64;
    std::size_t maxDisconnectBytes = 1024 * 1024;
};

using net::QueuedBytes;
using Event = net::QueuedEvent;

std::string sseEvent(std::string_view name, std::string_view dataJson);

// One SSE stream on one location. The fan-out only appends shared events to its queue, under
// a mutex held for no more than that; the HTTP session drains it. A stream whose queue grows
// past its bound, or that holds the most when all streams together hold too much, is
// cancelled rather than allowed to hold memory or slow writers.
//
// A stream with a query sends the query's result (a `put` at "/") whenever a change alters
// it; the result is read from the tree the change produced, which all streams share.
class Listener : public net::ResponseStream, public std::enable_shared_from_this<Listener>
{
public:
    Listener(Path path, std::string connectionId, std::uint64_t afterSeq, ListenerOptions options,
             std::shared_ptr<QueuedBytes> budget, std::weak_ptr<ListenerRegistry> registry,
             std::optional<Query> query = std::nullopt);

    const Path &path() const { return path_; }
    const std::string &connectionId() const { return connectionId_; }
    // Changes up to this one are already in the listener's first `put`.
    std::uint64_t afterSeq() const { return afterSeq_; }
    const std::optional<Query> &query() const { return query_; }

    // Puts `connected` and the first `put`, from the location's value as of afterSeq, ahead
    // of whatever the fan-out has queued meanwhile.
    void begin(const NodePtr &location);
    void deliver(const Event &event);
    // A query stream's result after a change: queued as a `put` when it differs from the one
    // sent last. `event` makes that put; it is called at most once per result and shared.
    void offerResult(const NodePtr &result, const std::function<Event()> &event);
    // Ends the stream with a `cancel` event saying why.
    void cancel(std::string_view why);
    // A signed-in user's stream: `allowed` is asked at each keep-alive and whenever
    // recheckAccess() says the owner's sessions changed; once it says no, the stream is
    // cancelled (it outlived its session).
    void watchAccess(std::string owner, std::function<bool()> allowed);
    // The user whose stream this is; empty for anonymous ones.
    std::string owner() const;
    void recheckAccess() { stillAllowed(); }
    bool finished() const;
    // Bytes queued or being written.
    std::size_t heldBytes() const;

    // Throws Refusal: 404 once the stream has closed, 400 past the number of operations, 413
    // past their size.
    void addDisconnectOperation(DisconnectOperation operation, std::size_t bytes);

    void start(std::function<void()> ready, std::function<void()> abort) override;
    Chunk next() override;
    std::string idle() override;
    std::chrono::milliseconds idleTimeout() const override { return options_.keepAlive; }
    void close() override;

    // The `cancel` event's text when the requester's session has ended.
    static constexpr std::string_view revokedReason = "auth_revoked";

private:
    void cancelLocked(std::string_view why);
    bool stillAllowed();

    const Path path_;
    const std::string connectionId_;
    const std::uint64_t afterSeq_;
    const ListenerOptions options_;
    const std::shared_ptr<QueuedBytes> budget_;
    std::weak_ptr<ListenerRegistry> registry_;
    const std::optional<Query> query_;

    mutable std::mutex mutex_;
    std::deque<Event> queued_;
    std::size_t queuedBytes_ = 0;
    std::size_t writingBytes_ = 0; // handed to the session by the last next()
    bool finished_ = false;
    bool closed_ = false;
    std::function<void()> ready_;
    std::function<void()> abort_;
    std::function<bool()> allowed_;
    std::string owner_;
    std::vector<DisconnectOperation> onDisconnect_;
    std::size_t onDisconnectBytes_ = 0;
    NodePtr lastResult_;      // query streams: the result sent last
    bool resultSent_ = false; // by the fan-out, before or after begin()
    bool began_ = false;
};

// The listeners by location. Keys are joined with a byte no key may contain, so a location's
// listeners and those of everything below it are one range of the map.
class ListenerRegistry
{
public:
    using DisconnectHook = std::function<void(std::vector<DisconnectOperation>)>;

    explicit ListenerRegistry(std::shared_ptr<QueuedBytes> budget) : budget_(std::move(budget)) {}

    void add(const std::shared_ptr<Listener> &listener);
    // Forgets a closed listener and passes what it left to run to the disconnect hook.
    void remove(const Listener *listener, std::vector<DisconnectOperation> operations = {});
    // The open stream with this connection id, or nullptr.
    std::shared_ptr<Listener> find(const std::string &connectionId) const;
    // Hands the change's events to every listener it concerns; never blocks on a client, and
    // holds the registry's lock only to find them.
    void publish(const Change &change);
    // While the streams together hold more than the budget, cancels the one holding most.
    void shed();
    // Asks every stream of `owner` whether it may go on.
    void recheckAccess(const std::string &owner);
    std::size_t size() const;
    // Called, under the registry's lock, with the operations of each stream that closes; it
    // must only queue them. An empty hook drops them.
    void setDisconnectHook(DisconnectHook hook);

private:
    using Entries = std::multimap<std::string, std::shared_ptr<Listener>>;
    using Found = std::vector<std::shared_ptr<Listener>>;

    Found atOrAbove(const Path &path, std::size_t minKeys) const;
    Found atOrBelow(const Path &path) const;
    class Fanout;

    const std::shared_ptr<QueuedBytes> budget_;
    mutable std::mutex mutex_;
    Entries entries_;
    std::unordered_map<std::string, std::shared_ptr<Listener>> byConnection_;
    DisconnectHook disconnectHook_;
};

} // namespace tailwise::realtime
