#include "Database.h"

#include <algorithm>
#include <cstdio>
#include <random>

namespace tailwise::realtime {
namespace {

using net::http::status;

std::string connectionId()
{
    static thread_local std::mt19937_64 random{std::random_device{}()};
    char text[33];
    std::snprintf(text, sizeof text, "%016llx%016llx", static_cast<unsigned long long>(random()),
                  static_cast<unsigned long long>(random()));
    return text;
}

} // namespace

std::string etagOf(const Json &rendered)
{
    // FNV-1a over the canonical text: stable across restarts, cheap, and only compared.
    std::uint64_t hash = 0xcbf29ce484222325ull;
    for (const char c : rendered.dump()) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 0x100000001b3ull;
    }
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    return text;
}

Database::Database(DatabaseOptions options) : options_(std::move(options))
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
    tree_.set({}, std::move(recovered.root));
    appliedSeq_ = recovered.seq;
    // Starting from a fresh snapshot and journal means a damaged tail is never appended to.
    generation_ = recovered.lastGeneration + 1;
    writeSnapshot(options_.dir, tree_.root(), appliedSeq_, generation_);
    durableSeq_ = appliedSeq_;
    publisher_ = std::thread([this] { publishDurableChanges(); });
    journal_ = std::make_unique<Journal>(options_.dir, generation_, appliedSeq_,
                                         [this](std::uint64_t seq) { dispatch(seq); });
    maintenance_ = std::thread([this] { maintain(); });
    disconnectRunner_ = std::thread([this] { runDisconnectOperations(); });
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

Json Database::read(const Path &path)
{
    Json value;
    std::uint64_t seen = 0;
    {
        const std::shared_lock lock(mutex_);
        value = tree_.get(path);
        seen = appliedSeq_;
    }
    journal_->waitDurable(seen);
    return value;
}

std::uint64_t Database::commit(std::vector<std::pair<Path, Json>> writes, bool patch,
                               const Path &patchAt)
{
    // Called with mutex_ held exclusively.
    const std::uint64_t seq = ++appliedSeq_;
    std::string record = encodeRecord(seq, writes);
    for (const auto &[path, value] : writes)
        tree_.set(path, value);
    // The change must wait for listeners before the journal may flush its record: the
    // publisher hands listeners only the changes queued by the time the record is durable,
    // and the writer is answered right after. Queued later, an acknowledged write's events would
    // sit here until some other write happened to be flushed.
    {
        const std::lock_guard lock(changesMutex_);
        changes_.push_back({seq, std::move(writes), patch, patchAt});
    }
    journal_->append(seq, std::move(record));
    if (journal_->size() >= options_.snapshotBytes) {
        {
            const std::lock_guard lock(maintenanceMutex_);
            snapshotWanted_ = true;
        }
        maintenanceWake_.notify_one();
    }
    return seq;
}

Json Database::set(const Path &path, const Json &input, const std::optional<std::string> &ifMatch)
{
    Json value;
    std::uint64_t seq = 0;
    {
        const std::unique_lock lock(mutex_);
        const Json *current = tree_.find(path);
        if (ifMatch) {
            const Json rendered = current ? render(*current) : Json();
            if (std::string etag = etagOf(rendered); etag != *ifMatch)
                throw EtagMismatch{rendered, std::move(etag)};
        }
        value = prepareValue(input, current, path.size(), options_.clock());
        seq = commit({{path, value}}, false, {});
    }
    journal_->waitDurable(seq);
    return value;
}

Json Database::update(const Path &path, const Json &children)
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
            throw Refusal(status::bad_request, "Invalid data; path '" + sorted[i - 1]->first +
                                                   "' is an ancestor of '" + sorted[i]->first +
                                                   "'");
    }

    Json written = Json::object();
    std::uint64_t seq = 0;
    {
        const std::unique_lock lock(mutex_);
        const std::int64_t now = options_.clock();
        std::vector<std::pair<Path, Json>> writes;
        bool childrenOnly = true;
        for (const auto &[key, relative] : targets) {
            Path full = join(path, relative);
            Json value = prepareValue(children[key], tree_.find(full), full.size(), now);
            written[key] = value;
            childrenOnly = childrenOnly && relative.size() == 1;
            writes.emplace_back(std::move(full), std::move(value));
        }
        if (writes.empty())
            return written;
        seq = commit(std::move(writes), childrenOnly, path);
    }
    journal_->waitDurable(seq);
    return written;
}

std::string Database::push(const Path &path, const Json &input)
{
    if (path.size() + 1 > maxDepth)
        throw Refusal(status::bad_request,
                      "Invalid path: deeper than " + std::to_string(maxDepth) + " levels");
    std::string id;
    std::uint64_t seq = 0;
    {
        const std::unique_lock lock(mutex_);
        const std::int64_t now = options_.clock();
        id = pushIds_.next(now);
        const Path at = join(path, {id});
        seq = commit({{at, prepareValue(input, nullptr, at.size(), now)}}, false, {});
    }
    journal_->waitDurable(seq);
    return id;
}

std::shared_ptr<Listener> Database::listen(const Path &path, std::optional<Query> query)
{
    std::shared_ptr<Listener> listener;
    std::uint64_t seen = 0;
    {
        const std::shared_lock lock(mutex_);
        seen = appliedSeq_;
        listener = std::make_shared<Listener>(path, connectionId(), seen, options_.listeners,
                                              registry_, std::move(query));
        listener->begin(tree_.get(path));
        registry_->add(listener);
    }
    try {
        journal_->waitDurable(seen);
    } catch (...) {
        listener->close();
        throw;
    }
    return listener;
}

void Database::onDisconnect(const std::string &connectionId, DisconnectOperation operation)
{
    if (operation.path.size() > maxDepth)
        throw Refusal(status::bad_request,
                      "Invalid path: deeper than " + std::to_string(maxDepth) + " levels");
    // Refused now rather than failing unseen later; the value written is prepared again then.
    prepareValue(operation.data, nullptr, operation.path.size(), options_.clock());
    const std::size_t bytes = operation.data.dump().size() + pathText(operation.path).size();
    const std::shared_ptr<Listener> listener = registry_->find(connectionId);
    if (!listener)
        throw Refusal(status::not_found,
                      "no open stream has the connection id '" + connectionId + "'");
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
        for (const Change &change : ready)
            registry_->publish(change);
        lock.lock();
    }
}

void Database::snapshot()
{
    // One at a time: two would share the temporary file, and the older one could replace the
    // newer snapshot after the newer one had deleted the journal the older one still needs.
    const std::lock_guard serial(snapshotMutex_);
    Json root;
    std::uint64_t seq = 0;
    std::uint64_t generation = 0;
    {
        const std::unique_lock lock(mutex_);
        root = tree_.root();
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
