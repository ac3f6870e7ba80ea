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
    journal_ = std::make_unique<Journal>(options_.dir, generation_, appliedSeq_,
                                         [this](std::uint64_t seq) { dispatch(seq); });
    maintenance_ = std::thread([this] { maintain(); });
}

Database::~Database()
{
    {
        const std::lock_guard lock(maintenanceMutex_);
        stopping_ = true;
    }
    maintenanceWake_.notify_all();
    maintenance_.join();
    journal_.reset();
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
    journal_->append(seq, encodeRecord(seq, writes));
    for (const auto &[path, value] : writes)
        tree_.set(path, value);
    {
        const std::lock_guard lock(changesMutex_);
        changes_.push_back({seq, std::move(writes), patch, patchAt});
    }
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

std::shared_ptr<Listener> Database::listen(const Path &path)
{
    std::shared_ptr<Listener> listener;
    std::uint64_t seen = 0;
    {
        const std::shared_lock lock(mutex_);
        seen = appliedSeq_;
        listener =
            std::make_shared<Listener>(path, connectionId(), seen, options_.listeners, registry_);
        listener->deliver(sseEvent("connected", {{"id", listener->connectionId()}}), false);
        listener->deliver(sseEvent("put", {{"path", "/"}, {"data", render(tree_.get(path))}}),
                          false);
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

void Database::dispatch(std::uint64_t durableSeq)
{
    std::deque<Change> ready;
    {
        const std::lock_guard lock(changesMutex_);
        while (!changes_.empty() && changes_.front().seq <= durableSeq) {
            ready.push_back(std::move(changes_.front()));
            changes_.pop_front();
        }
    }
    for (const Change &change : ready)
        registry_->publish(change);
}

void Database::snapshot()
{
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
