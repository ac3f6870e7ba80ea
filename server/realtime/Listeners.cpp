#include "Listeners.h"

#include <algorithm>
#include <map>
#include <new>

namespace tailwise::realtime {
namespace {

using net::http::status;

std::string registryKey(const Path &path, std::size_t keys)
{
    std::string joined;
    for (std::size_t i = 0; i < keys; ++i) {
        joined += path[i];
        joined += '\x01';
    }
    return joined;
}

std::string relative(const Path &path, const Path &base)
{
    return pathText(Path(path.begin() + static_cast<std::ptrdiff_t>(base.size()), path.end()));
}

// The part of `value` (stored at `at`) that lies at `below`, which is at or under `at`.
NodePtr valueBelow(const NodePtr &value, const Path &at, const Path &below)
{
    return find(value, Path(below.begin() + static_cast<std::ptrdiff_t>(at.size()), below.end()));
}

std::string putData(std::string_view path, const NodePtr &value)
{
    std::string data = R"({"path":)";
    data += Json(path).dump();
    data += R"(,"data":)";
    appendJson(data, value, Form::read);
    data += '}';
    return data;
}

} // namespace

Event QueuedBytes::event(std::string text)
{
    const std::size_t bytes = text.size();
    used_ += bytes;
    // The deleter keeps the counter alive: an event may outlive the database in a write.
    return Event(new std::string(std::move(text)),
                 [self = shared_from_this(), bytes](const std::string *done) {
                     self->used_ -= bytes;
                     delete done;
                 });
}

std::string sseEvent(std::string_view name, std::string_view dataJson)
{
    std::string event = "event: ";
    event += name;
    event += "\ndata: ";
    event += dataJson;
    event += "\n\n";
    return event;
}

Listener::Listener(Path path, std::string connectionId, std::uint64_t afterSeq,
                   ListenerOptions options, std::shared_ptr<QueuedBytes> budget,
                   std::weak_ptr<ListenerRegistry> registry, std::optional<Query> query)
    : path_(std::move(path)), connectionId_(std::move(connectionId)), afterSeq_(afterSeq),
      options_(options), budget_(std::move(budget)), registry_(std::move(registry)),
      query_(std::move(query))
{}

void Listener::begin(const NodePtr &location)
{
    const NodePtr first = query_ ? applyQuery(location, *query_) : location;
    const Event connected =
        budget_->event(sseEvent("connected", Json{{"id", connectionId_}}.dump()));
    const Event put = budget_->event(sseEvent("put", putData("/", first)));
    std::function<void()> ready;
    {
        const std::lock_guard lock(mutex_);
        if (finished_)
            return;
        // Whatever the fan-out queued already came after this state.
        queued_.push_front(put);
        queued_.push_front(connected);
        queuedBytes_ += connected->size() + put->size();
        if (query_ && !resultSent_)
            lastResult_ = first;
        began_ = true;
        ready = ready_;
    }
    if (ready)
        ready();
}

void Listener::offerResult(const NodePtr &result, const std::function<Event()> &event)
{
    {
        const std::lock_guard lock(mutex_);
        if (finished_)
            return;
        // Before begin() nothing tells what the client will have seen: send every result.
        if (resultSent_ || began_) {
            if (sameValue(result, lastResult_))
                return;
        }
        lastResult_ = result;
        resultSent_ = true;
    }
    deliver(event());
}

void Listener::deliver(const Event &event)
{
    std::function<void()> ready;
    {
        const std::lock_guard lock(mutex_);
        if (finished_)
            return;
        if (queuedBytes_ + event->size() > options_.maxQueuedBytes) {
            cancelLocked("the listener fell too far behind");
        } else {
            queued_.push_back(event);
            queuedBytes_ += event->size();
        }
        ready = ready_;
    }
    if (ready)
        ready();
}

void Listener::cancelLocked(std::string_view why)
{
    queued_.clear();
    const Event cancelled = budget_->event(sseEvent("cancel", Json(why).dump()));
    queued_.push_back(cancelled);
    queuedBytes_ = cancelled->size();
    finished_ = true;
}

void Listener::cancel(std::string_view why)
{
    std::function<void()> ready, abort;
    {
        const std::lock_guard lock(mutex_);
        if (finished_)
            return;
        cancelLocked(why);
        ready = ready_;
        // A write in flight may be stuck on a client that reads nothing; what it holds is
        // only released when the connection gives it up.
        if (writingBytes_ > 0)
            abort = abort_;
    }
    if (abort)
        abort();
    else if (ready)
        ready();
}

bool Listener::finished() const
{
    const std::lock_guard lock(mutex_);
    return finished_;
}

std::size_t Listener::heldBytes() const
{
    const std::lock_guard lock(mutex_);
    return queuedBytes_ + writingBytes_;
}

void Listener::addDisconnectOperation(DisconnectOperation operation, std::size_t bytes)
{
    const std::lock_guard lock(mutex_);
    if (closed_)
        throw Refusal(status::not_found, "the stream of this connection has closed");
    if (onDisconnect_.size() >= options_.maxDisconnectOperations)
        throw Refusal(status::bad_request, "a connection may register at most " +
                                               std::to_string(options_.maxDisconnectOperations) +
                                               " operations to run when it closes");
    if (onDisconnectBytes_ + bytes > options_.maxDisconnectBytes)
        throw Refusal(status::payload_too_large,
                      "the operations a connection registers to run when it closes may hold at "
                      "most " +
                          std::to_string(options_.maxDisconnectBytes) + " bytes");
    onDisconnect_.push_back(std::move(operation));
    onDisconnectBytes_ += bytes;
}

void Listener::start(std::function<void()> ready, std::function<void()> abort)
{
    const std::lock_guard lock(mutex_);
    ready_ = std::move(ready);
    abort_ = std::move(abort);
}

net::ResponseStream::Chunk Listener::next()
{
    const std::lock_guard lock(mutex_);
    Chunk chunk;
    chunk.pieces.assign(std::make_move_iterator(queued_.begin()),
                        std::make_move_iterator(queued_.end()));
    queued_.clear();
    writingBytes_ = queuedBytes_;
    queuedBytes_ = 0;
    chunk.last = finished_;
    return chunk;
}

std::string Listener::idle()
{
    return sseEvent("keep-alive", "null");
}

void Listener::close()
{
    std::vector<DisconnectOperation> operations;
    {
        const std::lock_guard lock(mutex_);
        if (closed_)
            return;
        closed_ = finished_ = true;
        ready_ = nullptr;
        abort_ = nullptr;
        queued_.clear();
        queuedBytes_ = writingBytes_ = 0;
        lastResult_ = nullptr;
        operations.swap(onDisconnect_);
    }
    if (auto registry = registry_.lock())
        registry->remove(this, std::move(operations));
}

void ListenerRegistry::add(const std::shared_ptr<Listener> &listener)
{
    const std::lock_guard lock(mutex_);
    entries_.emplace(registryKey(listener->path(), listener->path().size()), listener);
    byConnection_.emplace(listener->connectionId(), listener);
}

void ListenerRegistry::remove(const Listener *listener, std::vector<DisconnectOperation> operations)
{
    const std::lock_guard lock(mutex_);
    auto [first, last] =
        entries_.equal_range(registryKey(listener->path(), listener->path().size()));
    for (auto it = first; it != last; ++it) {
        if (it->second.get() == listener) {
            entries_.erase(it);
            break;
        }
    }
    if (const auto found = byConnection_.find(listener->connectionId());
        found != byConnection_.end() && found->second.get() == listener)
        byConnection_.erase(found);
    if (!operations.empty() && disconnectHook_)
        disconnectHook_(std::move(operations));
}

std::shared_ptr<Listener> ListenerRegistry::find(const std::string &connectionId) const
{
    const std::lock_guard lock(mutex_);
    const auto found = byConnection_.find(connectionId);
    return found == byConnection_.end() ? nullptr : found->second;
}

void ListenerRegistry::setDisconnectHook(DisconnectHook hook)
{
    const std::lock_guard lock(mutex_);
    disconnectHook_ = std::move(hook);
}

std::size_t ListenerRegistry::size() const
{
    const std::lock_guard lock(mutex_);
    return entries_.size();
}

ListenerRegistry::Found ListenerRegistry::atOrAbove(const Path &path, std::size_t minKeys) const
{
    Found found;
    const std::lock_guard lock(mutex_);
    for (std::size_t keys = minKeys; keys <= path.size(); ++keys) {
        auto [first, last] = entries_.equal_range(registryKey(path, keys));
        for (auto it = first; it != last; ++it)
            found.push_back(it->second);
    }
    return found;
}

ListenerRegistry::Found ListenerRegistry::atOrBelow(const Path &path) const
{
    Found found;
    const std::string prefix = registryKey(path, path.size());
    const std::lock_guard lock(mutex_);
    for (auto it = entries_.lower_bound(prefix);
         it != entries_.end() && it->first.compare(0, prefix.size(), prefix) == 0; ++it)
        found.push_back(it->second);
    return found;
}

void ListenerRegistry::publish(const Change &change)
{
    // A change of many locations usually concerns nobody: whoever it concerns listens at, above
    // or below the locations' common prefix, which two lookups tell.
    if (change.writes.size() > 1) {
        Path common = change.writes.front().first;
        for (const auto &[path, value] : change.writes) {
            const auto differs =
                std::mismatch(common.begin(), common.end(), path.begin(), path.end());
            common.erase(differs.first, common.end());
        }
        if (atOrAbove(common, 0).empty() && atOrBelow(common).empty())
            return;
    }
    const auto concerned = [&](const Listener &listener) {
        return listener.afterSeq() < change.seq && !listener.finished();
    };
    // One listener's trouble (its event cannot even be built) is that listener's end, never
    // the server's or the other listeners'.
    const auto serve = [](Listener &listener, const auto &work) {
        try {
            work();
        } catch (const std::bad_alloc &) {
            listener.cancel("the server ran out of memory for this stream");
        }
    };
    // Query streams take in every write first and get at most one new result per change.
    Found queries;

    // Every listener on one location is sent the same event: it is built once per location
    // and write, not once per listener.
    std::map<Path, Event> events;
    const auto eventFor = [&](const Path &at, const auto &build) -> const Event & {
        auto known = events.find(at);
        if (known == events.end())
            known = events.emplace(at, budget_->event(build())).first;
        return known->second;
    };

    if (change.patch) {
        std::string children = "{";
        for (const auto &[path, value] : change.writes) {
            if (children.size() > 1)
                children += ',';
            children += Json(path.back()).dump();
            children += ':';
            appendJson(children, value, Form::read);
        }
        children += '}';
        for (const auto &listener : atOrAbove(change.patchAt, 0)) {
            if (!concerned(*listener))
                continue;
            if (listener->query()) {
                queries.push_back(listener);
                continue;
            }
            serve(*listener, [&] {
                listener->deliver(eventFor(listener->path(), [&] {
                    return sseEvent("patch",
                                    R"({"path":)" +
                                        Json(relative(change.patchAt, listener->path())).dump() +
                                        R"(,"data":)" + children + "}");
                }));
            });
        }
    }
    for (const auto &write : change.writes) {
        // Named references rather than a structured binding: the lambdas below capture them,
        // which clang before 16 does not allow for bindings.
        const Path &path = write.first;
        const NodePtr &value = write.second;
        events.clear();
        for (const auto &listener : atOrAbove(path, 0)) {
            if (!concerned(*listener) || listener->path().size() == path.size())
                continue;
            if (listener->query())
                queries.push_back(listener);
            else if (!change.patch)
                serve(*listener, [&] {
                    listener->deliver(eventFor(listener->path(), [&] {
                        return sseEvent("put", putData(relative(path, listener->path()), value));
                    }));
                });
        }
        for (const auto &listener : atOrBelow(path)) {
            if (!concerned(*listener))
                continue;
            if (listener->query())
                queries.push_back(listener);
            else
                serve(*listener, [&] {
                    listener->deliver(eventFor(listener->path(), [&] {
                        return sseEvent("put",
                                        putData("/", valueBelow(value, path, listener->path())));
                    }));
                });
        }
    }

    std::sort(queries.begin(), queries.end());
    queries.erase(std::unique(queries.begin(), queries.end()), queries.end());
    // Streams with the same query on the same location share its result and its event.
    struct Result
    {
        NodePtr value;
        Event event;
    };
    std::map<std::pair<Path, std::string>, Result> results;
    for (const auto &listener : queries) {
        serve(*listener, [&] {
            auto [known, fresh] =
                results.try_emplace({listener->path(), listener->query()->canonical()});
            Result &result = known->second;
            if (fresh)
                result.value =
                    applyQuery(realtime::find(change.root, listener->path()), *listener->query());
            listener->offerResult(result.value, [&] {
                if (!result.event)
                    result.event = budget_->event(sseEvent("put", putData("/", result.value)));
                return result.event;
            });
        });
    }
    shed();
}

void ListenerRegistry::shed()
{
    if (budget_->used() <= budget_->limit())
        return;
    Found all;
    {
        const std::lock_guard lock(mutex_);
        for (const auto &entry : entries_)
            all.push_back(entry.second);
    }
    std::vector<std::pair<std::size_t, Listener *>> held;
    for (const auto &listener : all) {
        if (!listener->finished())
            held.emplace_back(listener->heldBytes(), listener.get());
    }
    std::sort(held.begin(), held.end(),
              [](const auto &a, const auto &b) { return a.first > b.first; });
    // What a cancelled stream held is freed once no other stream shares it; count it as
    // freed already, so that one pass never cancels more streams than needed.
    std::size_t releasing = 0;
    for (const auto &[bytes, listener] : held) {
        const std::size_t used = budget_->used();
        if (bytes == 0 || used <= budget_->limit() + releasing)
            break;
        listener->cancel("the streams hold too much unsent data; this one held the most");
        releasing += bytes;
    }
}

} // namespace tailwise::realtime
