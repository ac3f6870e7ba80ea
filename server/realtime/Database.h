#pragma once

#include "Journal.h"
#include "Listeners.h"
#include "PushId.h"
#include "Tree.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

namespace tailwise::realtime {

struct DatabaseOptions
{
    std::filesystem::path dir;
    // A snapshot is taken once the journal has grown this much, or after `snapshotInterval`
    // when anything was written.
    std::uint64_t snapshotBytes = 64 * 1024 * 1024;
    std::chrono::milliseconds snapshotInterval{std::chrono::minutes(10)};
    ListenerOptions listeners = {};
    // Milliseconds since 1970, for server timestamps and push ids.
    std::function<std::int64_t()> clock;
    // The stored tree may take at most this much as JSON text; a write that would grow it
    // further is refused with 413 (deleting is always possible). 0: no limit.
    std::size_t maxStoredBytes = 256 * 1024 * 1024;
};

// A conditional write whose ETag no longer matches.
struct EtagMismatch
{
    NodePtr current;
    std::string etag;
};

// At most this many bytes written and replaced together by one write; none: no such limit.
using WriteSizeLimit = std::optional<std::size_t>;

// Whether a write may go ahead: given the locations it writes, the tree it replaces and the
// tree it would leave. Checked under the write lock, against exactly the version it replaces.
using WriteCheck = std::function<bool(const std::vector<Path> &locations, const NodePtr &before,
                                      const NodePtr &after)>;

// The ETag of a location's value as clients read it.
std::string etagOf(const NodePtr &value);

// The JSON tree with its durability and its listeners. Every write is applied in memory,
// queued on the journal and acknowledged (the call returns) only once it is on disk; reads
// likewise wait until what they saw is durable, so no answer ever shows a write a crash
// could take back. Thread-safe.
//
// The tree is immutable (see Node): a write builds a new version sharing everything it did
// not touch and swaps it in under a lock held only for that, so readers, new streams and
// snapshots take the current version and do their work without holding up any writer.
class Database
{
public:
    explicit Database(DatabaseOptions options);
    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    // The stored value at `path` (nullptr when absent).
    NodePtr read(const Path &path);
    // Replaces the location; returns the stored value written (server values resolved). With
    // `ifMatch`, throws EtagMismatch when the current value's ETag differs. Every write throws
    // Refusal 401 "Permission denied", and changes nothing, when its `check` refuses it.
    NodePtr set(const Path &path, const Json &input,
                const std::optional<std::string> &ifMatch = std::nullopt,
                WriteSizeLimit sizeLimit = std::nullopt, const WriteCheck &check = {});
    // A multi-location update: each relative path is replaced whole, and listeners hear of it
    // as one change. Returns the stored values written, with the request's keys. Throws
    // Refusal for overlapping paths.
    std::vector<std::pair<std::string, NodePtr>> update(const Path &path, const Json &children,
                                                        WriteSizeLimit sizeLimit = std::nullopt,
                                                        const WriteCheck &check = {});
    // Writes under a new push id and returns the id.
    std::string push(const Path &path, const Json &input, WriteSizeLimit sizeLimit = std::nullopt,
                     const WriteCheck &check = {});
    // A stream on `path`: `connected`, the first `put`, then every change concerning it; with
    // a query, its result first and again whenever a change alters it.
    std::shared_ptr<Listener> listen(const Path &path, std::optional<Query> query = std::nullopt);

    // Registers a write to run when the stream with this connection id closes, in order with
    // the others registered on it. Checks `data` now (a Refusal when it could not be
    // written); throws Refusal 404 when no such stream is open, 400/413 past the bounds.
    void onDisconnect(const std::string &connectionId, DisconnectOperation operation);
    // The server is stopping: streams that close from now on leave their disconnect
    // operations unrun. A stop is not the clients going away; they reconnect to the next
    // server and register them again, and running them would tell every other client that
    // everyone left at once. A crash cannot run them either, so a stop behaves like one.
    void dropDisconnectOperations();

    // The sessions of `owner` changed: each of that user's streams asks again whether it may
    // go on (see Listener::watchAccess).
    void recheckStreams(const std::string &owner) { registry_->recheckAccess(owner); }

    // Writes a snapshot now and starts a new journal generation.
    void snapshot();
    std::size_t listeners() const { return registry_->size(); }
    // The stored tree's size as JSON text, as the quota counts it.
    std::size_t storedBytes();
    // What the streams hold unsent, counted against their common budget.
    std::size_t queuedStreamBytes() const { return budget_->used(); }
    std::int64_t now() const { return options_.clock(); }

private:
    struct Write
    {
        Path path;
        PreparedValue prepared;
        std::string encoded; // the journal's text; made under the lock when increments wait
    };
    // Checks the tree about to be written over; may throw to refuse the write.
    using Precondition = std::function<void(const NodePtr &root)>;

    Write prepare(Path path, const Json &input, std::int64_t nowMs) const;
    struct CommitOptions
    {
        // A multi-location update at `at`, which listeners hear of as one change.
        bool update = false;
        Path at;
        WriteSizeLimit sizeLimit;
        WriteCheck check;
    };
    // Applies the writes as one and queues them on the journal; returns the sequence number
    // to wait for and the values written.
    std::pair<std::uint64_t, std::vector<NodePtr>> commit(std::vector<Write> writes,
                                                          const CommitOptions &options,
                                                          const Precondition &precondition = {});
    void dispatch(std::uint64_t durableSeq);
    void publishDurableChanges();
    void maintain();
    void runDisconnectOperations();

    DatabaseOptions options_;
    // Held to swap in a new version of the tree, or to take the current one.
    std::mutex mutex_;
    NodePtr root_;
    std::uint64_t appliedSeq_ = 0;
    std::uint64_t generation_ = 0;
    PushIdGenerator pushIds_;
    std::shared_ptr<QueuedBytes> budget_;
    std::shared_ptr<ListenerRegistry> registry_;

    // Operations of closed streams, run one at a time, in order, as ordinary writes.
    std::mutex disconnectMutex_;
    std::condition_variable disconnectWake_;
    std::deque<DisconnectOperation> disconnectQueue_;
    bool disconnectStopping_ = false;
    std::thread disconnectRunner_;

    // Applied changes wait here until durable; then a thread of their own hands them to the
    // listeners, so that fan-out to many streams never delays the next journal flush or the
    // writers waiting for it.
    std::mutex changesMutex_;
    std::condition_variable changesWake_;
    std::deque<Change> changes_;
    std::uint64_t durableSeq_ = 0;
    bool publisherStopping_ = false;
    std::thread publisher_;

    std::unique_ptr<Journal> journal_;
    std::mutex snapshotMutex_; // held by snapshot() throughout

    std::mutex maintenanceMutex_;
    std::condition_variable maintenanceWake_;
    bool stopping_ = false;
    bool snapshotWanted_ = false;
    std::thread maintenance_;
};

} // namespace tailwise::realtime
