#include "Database.h"

#include "http/Json.h"

#include "http/Random.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <utility>

#include <pthread.h>

namespace tailwise::realtime {
namespace {

using net::http::status;

// A connection id lets its holder leave writes behind for when the stream closes, so it must
// not be guessable.
std::string connectionId()
{
    return net::randomHex(16);
}

// An ETag check that lost a race with another writer: read and check again.
struct LocationMoved
{};

// A write's size as `writeSizeLimit` counts it: what it writes and what it replaces, since
// removing a large location costs as much as writing it.
void checkWriteSize(const NodePtr &root, const std::vector<std::pair<Path, NodePtr>> &writes,
                    std::size_t limit)
{
    std::size_t bytes = 0;
    for (const auto &[path, value] : writes) {
        const NodePtr replaced = find(root, path);
        bytes += (value ? value->bytes() : 0) + (replaced ? replaced->bytes() : 0);
    }
    if (bytes > limit)
        throw Refusal(status::bad_request, "Data to write exceeds the maximum size that can be "
                                           "modified with a single request.");
}

} // namespace

std::string etagOf(const NodePtr &value)
{
    // FNV-1a over the canonical text: stable across restarts, cheap, and only compared.
    std::uint64_t hash = 0xcbf29ce484222325ull;
    for (const char c : jsonText(value)) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 0x100000001b3ull;
    }
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    return text;
}

Database::Database(DatabaseOptions options)
    : options_(std::move(options)),
      budget_(std::make_shared<QueuedBytes>(options_.listeners.maxTotalQueuedBytes)),
      registry_(std::make_shared<ListenerRegistry>(budget_))
{
    if (!options_.clock) {
        options_.clock = [] {
            return std::chrono::duration_cast<std::chrono::milliseconds>(
                       std::chrono::system_clock::now().time_since_epoch())
                .count();
        };
    }
    std::filesystem::create_directories(options_.dir);
    Recovered recovered = recover(options_.dir);
    if (recovered.tornTail)
        std::fprintf(stderr,
                     "database: dropped the unacknowledged end of the last journal (%zu bytes)\n",
                     recovered.droppedBytes);
    root_ = std::move(recovered.root);
    appliedSeq_ = recovered.seq;
    // Starting from a fresh snapshot and journal means a damaged tail is never appended to.
    generation_ = recovered.lastGeneration + 1;
    writeSnapshot(options_.dir, root_, appliedSeq_, generation_);
    durableSeq_ = appliedSeq_;
    publisher_ = std::thread([this] { publishDurableChanges(); });
    pthread_setname_np(publisher_.native_handle(), "rtdb-publisher");
    journal_ = std::make_unique<Journal>(options_.dir, generation_, appliedSeq_,
                                         [this](std::uint64_t seq) { dispatch(seq); });
    maintenance_ = std::thread([this] { maintain(); });
    pthread_setname_np(maintenance_.native_handle(), "rtdb-snapshots");
    disconnectRunner_ = std::thread([this] { runDisconnectOperations(); });
    pthread_setname_np(disconnectRunner_.native_handle(), "rtdb-disconnect");
    registry_->setDisconnectHook([this](std::vector<DisconnectOperation> operations) {
        {
            const std::lock_guard lock(disconnectMutex_);
            for (auto &operation : operations)
                disconnectQueue_.push_back(std::move(operation));
        }
        disconnectWake_.notify_one();
    });
}

Database::~Database()
{
    // Streams closing from now on leave nothing; what closed streams left already still runs.
    registry_->setDisconnectHook(nullptr);
    {
        const std::lock_guard lock(disconnectMutex_);
        disconnectStopping_ = true;
    }
    disconnectWake_.notify_all();
    disconnectRunner_.join();
    {
        const std::lock_guard lock(maintenanceMutex_);
        stopping_ = true;
    }
    maintenanceWake_.notify_all();
    maintenance_.join();
    journal_.reset();
    {
        const std::lock_guard lock(changesMutex_);
        publisherStopping_ = true;
    }
    changesWake_.notify_all();
    publisher_.join();
}

NodePtr Database::read(const Path &path)
{
    NodePtr value;
    std::uint64_t seen = 0;
    {
        const std::lock_guard lock(mutex_);
        value = find(root_, path);
        seen = appliedSeq_;
    }
    journal_->waitDurable(seen);
    return value;
}

std::size_t Database::storedBytes()
{
    const std::lock_guard lock(mutex_);
    return root_ ? root_->bytes() : 0;
}

Database::Write Database::prepare(Path path, const Json &input, std::int64_t nowMs) const
{
    PreparedValue prepared = prepareValue(input, path.size(), nowMs);
    Write write{std::move(path), std::move(prepared), {}};
    if (write.prepared.increments.empty())
        write.encoded = encodeWrite(write.path, write.prepared.value);
    return write;
}

std::pair<std::uint64_t, std::vector<NodePtr>> Database::commit(std::vector<Write> writes,
                                                                const CommitOptions &options,
                                                                const Precondition &precondition)
{
    // Everything that grows with the data (converting, encoding, building the changed part of
    // the tree) happens before the lock; under it a write splices its result in. Only values
    // with increments, which read the stored value, are finished under the lock.
    const bool increments = std::any_of(writes.begin(), writes.end(), [](const Write &write) {
        return !write.prepared.increments.empty();
    });
    std::vector<std::pair<Path, NodePtr>> applied;
    std::vector<std::string> encoded;
    if (!increments) {
        for (auto &write : writes) {
            encoded.push_back(std::move(write.encoded));
            applied.emplace_back(std::move(write.path), std::move(write.prepared.value));
        }
    }
    // Many locations at once: their common ancestor is rebuilt from the current version now,
    // and swapped in below if nobody changed it meanwhile.
    Path ancestor;
    NodePtr base, rebuilt;
    if (applied.size() > 1) {
        ancestor = applied.front().first;
        for (const auto &[path, value] : applied)
            ancestor.erase(
                std::mismatch(ancestor.begin(), ancestor.end(), path.begin(), path.end()).first,
                ancestor.end());
        {
            const std::lock_guard lock(mutex_);
            base = find(root_, ancestor);
        }
        rebuilt = setAll(base, applied, ancestor.size());
    }

    NodePtr retired; // the version replaced, let go of after the lock
    const std::lock_guard lock(mutex_);
    if (precondition)
        precondition(root_);
    if (increments) {
        for (auto &write : writes) {
            NodePtr value = write.prepared.increments.empty()
                                ? std::move(write.prepared.value)
                                : resolveIncrements(root_, write.path, std::move(write.prepared));
            if (write.encoded.empty())
                write.encoded = encodeWrite(write.path, value);
            encoded.push_back(std::move(write.encoded));
            applied.emplace_back(std::move(write.path), std::move(value));
        }
    }
    if (options.sizeLimit)
        checkWriteSize(root_, applied, *options.sizeLimit);
    const NodePtr root = rebuilt && find(root_, ancestor) == base ? setAt(root_, ancestor, rebuilt)
                                                                  : setAll(root_, applied);
    if (options.check) {
        std::vector<Path> locations;
        locations.reserve(applied.size());
        for (const auto &[path, value] : applied)
            locations.push_back(path);
        if (!options.check(locations, root_, root))
            throw Refusal(net::http::status::unauthorized, "Permission denied");
    }
    const std::size_t before = root_ ? root_->bytes() : 0;
    const std::size_t after = root ? root->bytes() : 0;
    if (options_.maxStoredBytes && after > options_.maxStoredBytes && after > before)
        throw Refusal(net::http::status::payload_too_large,
                      "the database is full: it may store at most " +
                          std::to_string(options_.maxStoredBytes) + " bytes");

    const std::uint64_t seq = ++appliedSeq_;
    retired = std::exchange(root_, root);
    std::vector<NodePtr> values;
    values.reserve(applied.size());
    for (const auto &[path, value] : applied)
        values.push_back(value);
    // The change must wait for listeners before the journal may flush its record: the
    // publisher hands listeners only the changes queued by the time the record is durable,
    // and the writer is answered right after. Queued later, an acknowledged write's events would
    // sit here until some other write happened to be flushed.
    {
        const std::lock_guard changes(changesMutex_);
        changes_.push_back({seq, std::move(applied), options.update, options.at, root});
    }
    journal_->append(seq, std::move(encoded));
    if (journal_->size() >= options_.snapshotBytes) {
        {
            const std::lock_guard maintenance(maintenanceMutex_);
            snapshotWanted_ = true;
        }
        maintenanceWake_.notify_one();
    }
    return {seq, std::move(values)};
}

NodePtr Database::set(const Path &path, const Json &input,
                      const std::optional<std::string> &ifMatch, WriteSizeLimit sizeLimit,
                      const WriteCheck &check)
{
    Write write = prepare(path, input, options_.clock());
    Precondition precondition;
    NodePtr expected;
    if (ifMatch) {
        // The ETag is computed outside the lock; under it the location only has to be the
        // one that was checked. A location that keeps changing is checked under the lock.
        for (int attempt = 0; attempt < 3 && !precondition; ++attempt) {
            {
                const std::lock_guard lock(mutex_);
                expected = find(root_, path);
            }
            if (std::string etag = etagOf(expected); etag != *ifMatch)
                throw EtagMismatch{expected, std::move(etag)};
            Write attemptWrite = write;
            try {
                auto [seq, values] =
                    commit({std::move(attemptWrite)}, {false, {}, sizeLimit, check},
                           [&](const NodePtr &root) {
                               if (find(root, path) != expected)
                                   throw LocationMoved{};
                           });
                journal_->waitDurable(seq);
                return values.front();
            } catch (const LocationMoved &) {
            }
        }
        precondition = [&](const NodePtr &root) {
            const NodePtr current = find(root, path);
            if (std::string etag = etagOf(current); etag != *ifMatch)
                throw EtagMismatch{current, std::move(etag)};
        };
    }
    auto [seq, values] = commit({std::move(write)}, {false, {}, sizeLimit, check}, precondition);
    journal_->waitDurable(seq);
    return values.front();
}

std::vector<std::pair<std::string, NodePtr>> Database::update(const Path &path,
                                                              const Json &children,
                                                              WriteSizeLimit sizeLimit,
                                                              const WriteCheck &check)
{
    if (!children.is_object())
        throw Refusal(status::bad_request, "Invalid data; couldn't parse JSON object. Are you "
                                           "sending a JSON object with valid key names?");
    std::vector<std::pair<std::string, Path>> targets;
    for (const auto &[key, value] : children.items()) {
        Path relative = parseRelativePath(key);
        if (relative.empty())
            throw Refusal(status::bad_request, "Invalid data; an update key must name a child");
        if (path.size() + relative.size() > maxDepth)
            throw Refusal(status::bad_request,
                          "Invalid path: deeper than " + std::to_string(maxDepth) + " levels");
        targets.emplace_back(key, std::move(relative));
    }
    std::vector<const std::pair<std::string, Path> *> sorted;
    for (const auto &target : targets)
        sorted.push_back(&target);
    std::sort(sorted.begin(), sorted.end(),
              [](const auto *a, const auto *b) { return a->second < b->second; });
    for (std::size_t i = 1; i < sorted.size(); ++i) {
        if (isPrefix(sorted[i - 1]->second, sorted[i]->second))
            throw Refusal(status::bad_request,
                          "Invalid data; path '" + net::printable(sorted[i - 1]->first) +
                              "' is an ancestor of '" + net::printable(sorted[i]->first) + "'");
    }
    if (targets.empty())
        return {};

    const std::int64_t now = options_.clock();
    std::vector<Write> writes;
    for (const auto &[key, relative] : targets)
        writes.push_back(prepare(join(path, relative), children[key], now));
    auto [seq, values] = commit(
        std::move(writes), {.update = true, .at = path, .sizeLimit = sizeLimit, .check = check});
    journal_->waitDurable(seq);
    std::vector<std::pair<std::string, NodePtr>> written;
    for (std::size_t i = 0; i < targets.size(); ++i)
        written.emplace_back(targets[i].first, std::move(values[i]));
    return written;
}

std::string Database::push(const Path &path, const Json &input, WriteSizeLimit sizeLimit,
                           const WriteCheck &check)
{
    if (path.size() + 1 > maxDepth)
        throw Refusal(status::bad_request,
                      "Invalid path: deeper than " + std::to_string(maxDepth) + " levels");
    const std::int64_t now = options_.clock();
    std::string id = pushIds_.next(now);
    auto [seq, values] =
        commit({prepare(join(path, {id}), input, now)}, {false, {}, sizeLimit, check});
    journal_->waitDurable(seq);
    return id;
}

std::shared_ptr<Listener> Database::listen(const Path &path, std::optional<Query> query)
{
    std::shared_ptr<Listener> listener;
    NodePtr location;
    std::uint64_t seen = 0;
    {
        // Registered in the same instant the location is read: every later change reaches
        // the listener, none before it does.
        const std::lock_guard lock(mutex_);
        seen = appliedSeq_;
        location = find(root_, path);
        listener = std::make_shared<Listener>(path, connectionId(), seen, options_.listeners,
                                              budget_, registry_, std::move(query));
        registry_->add(listener);
    }
    try {
        journal_->waitDurable(seen);
        // The first event is rendered here, outside every lock, however large it is.
        listener->begin(location);
    } catch (...) {
        listener->close();
        throw;
    }
    registry_->shed();
    return listener;
}

void Database::onDisconnect(const std::string &connectionId, DisconnectOperation operation)
{
    if (operation.path.size() > maxDepth)
        throw Refusal(status::bad_request,
                      "Invalid path: deeper than " + std::to_string(maxDepth) + " levels");
    // Refused now rather than failing unseen later; the value written is prepared again then.
    prepareValue(operation.data, operation.path.size(), options_.clock());
    const std::size_t bytes = operation.data.dump().size() + pathText(operation.path).size();
    const std::shared_ptr<Listener> listener = registry_->find(connectionId);
    if (!listener)
        throw Refusal(status::not_found, "no open stream has the connection id '" +
                                             net::printable(connectionId) + "'");
    listener->addDisconnectOperation(std::move(operation), bytes);
}

void Database::dropDisconnectOperations()
{
    registry_->setDisconnectHook(nullptr);
}

void Database::runDisconnectOperations()
{
    std::unique_lock lock(disconnectMutex_);
    for (;;) {
        disconnectWake_.wait(lock,
                             [&] { return disconnectStopping_ || !disconnectQueue_.empty(); });
        if (disconnectQueue_.empty())
            return;
        DisconnectOperation operation = std::move(disconnectQueue_.front());
        disconnectQueue_.pop_front();
        lock.unlock();
        try {
            set(operation.path, operation.data);
        } catch (const std::exception &error) {
            // The value was checked when registered, so this is the journal failing; the
            // client is gone and cannot be told.
            std::fprintf(stderr, "database: a disconnect operation at %s failed: %s\n",
                         pathText(operation.path).c_str(), error.what());
        }
        lock.lock();
    }
}

void Database::dispatch(std::uint64_t durableSeq)
{
    {
        const std::lock_guard lock(changesMutex_);
        durableSeq_ = std::max(durableSeq_, durableSeq);
    }
    changesWake_.notify_one();
}

void Database::publishDurableChanges()
{
    std::unique_lock lock(changesMutex_);
    for (;;) {
        changesWake_.wait(lock, [&] {
            return publisherStopping_ || (!changes_.empty() && changes_.front().seq <= durableSeq_);
        });
        if (publisherStopping_)
            return;
        std::deque<Change> ready;
        while (!changes_.empty() && changes_.front().seq <= durableSeq_) {
            ready.push_back(std::move(changes_.front()));
            changes_.pop_front();
        }
        lock.unlock();
        for (const Change &change : ready) {
            try {
                registry_->publish(change);
            } catch (const std::exception &error) {
                // Listeners that missed the change are cancelled by their own failures; the
                // next changes still go out.
                std::fprintf(stderr, "database: publishing change %llu failed: %s\n",
                             static_cast<unsigned long long>(change.seq), error.what());
            }
        }
        lock.lock();
    }
}

void Database::snapshot()
{
    // One at a time: two would share the temporary file, and the older one could replace the
    // newer snapshot after the newer one had deleted the journal the older one still needs.
    const std::lock_guard serial(snapshotMutex_);
    NodePtr root;
    std::uint64_t seq = 0;
    std::uint64_t generation = 0;
    {
        const std::lock_guard lock(mutex_);
        root = root_;
        seq = appliedSeq_;
        generation = ++generation_;
        journal_->rotate(generation);
    }
    writeSnapshot(options_.dir, root, seq, generation);
}

void Database::maintain()
{
    std::unique_lock lock(maintenanceMutex_);
    while (!stopping_) {
        maintenanceWake_.wait_for(lock, options_.snapshotInterval,
                                  [&] { return stopping_ || snapshotWanted_; });
        if (stopping_)
            break;
        snapshotWanted_ = false;
        if (journal_->size() == 0)
            continue;
        lock.unlock();
        try {
            snapshot();
        } catch (const std::exception &error) {
            // The journal still holds everything; the next attempt may succeed.
            std::fprintf(stderr, "database: snapshot failed: %s\n", error.what());
        }
        lock.lock();
    }
}

} // namespace tailwise::realtime
