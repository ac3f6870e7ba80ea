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

void Listener::watchAccess(std::string owner, std::function<bool()> allowed)
{
    const std::lock_guard lock(mutex_);
    owner_ = std::move(owner);
    allowed_ = std::move(allowed);
}

std::string Listener::owner() const
{
    const std::lock_guard lock(mutex_);
    return owner_;
}

bool Listener::stillAllowed()
{
    std::function<bool()> allowed;
    {
        const std::lock_guard lock(mutex_);
        allowed = allowed_;
    }
    // Asked outside the lock: it may look up a session.
    if (!allowed || allowed())
        return true;
    cancel(revokedReason);
    return false;
}

std::string Listener::idle()
{
    if (!stillAllowed())
        return {};
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

void ListenerRegistry::recheckAccess(const std::string &owner)
{
    Found all;
    {
        const std::lock_guard lock(mutex_);
        all.reserve(entries_.size());
        for (const auto &entry : entries_)
            all.push_back(entry.second);
    }
    // Outside the registry's lock: asking may look up a session, and cancelling wakes a
    // connection. A session ends rarely enough that walking every stream is cheap.
    for (const auto &listener : all)
        if (listener->owner() == owner)
            listener->recheckAccess();
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

// The events of one change, built once per listened location and shared by every listener
// there. Query streams are collected and served last, with at most one new result each.
class ListenerRegistry::Fanout
{
public:
    Fanout(const ListenerRegistry &registry, const Change &change)
        : registry_(registry), change_(change)
    {}

    void publishSet()
    {
        const Path &path = change_.writes.front().first;
        const NodePtr &value = change_.writes.front().second;
        for (const auto &listener : registry_.atOrAbove(path, 0)) {
            if (listener->path().size() < path.size())
                send(listener, [&] {
                    return sseEvent("put", putData(relative(path, listener->path()), value));
                });
        }
        putToThoseBelow(path, value);
    }

    void publishUpdate()
    {
        const Path &at = change_.at;
        // At or above the update: every key, as paths from its location.
        std::optional<std::string> all;
        for (const auto &listener : registry_.atOrAbove(at, 0))
            send(listener, [&] {
                if (!all)
                    all = patchChildren(at, change_.writes.begin(), change_.writes.end());
                return patchEvent(relative(at, listener->path()), *all);
            });
        // Between the update and a written location: the keys below the listener. Each of
        // those locations is found once per write below it.
        struct Between
        {
            std::vector<std::shared_ptr<Listener>> listeners;
            std::vector<std::size_t> writes; // indices into change_.writes
        };
        std::map<Path, Between> between;
        for (std::size_t i = 0; i < change_.writes.size(); ++i) {
            const auto &[path, value] = change_.writes[i];
            for (const auto &listener : registry_.atOrAbove(path, at.size() + 1)) {
                if (listener->path().size() == path.size() || !concerned(*listener))
                    continue;
                Between &location = between[listener->path()];
                location.listeners.push_back(listener);
                if (location.writes.empty() || location.writes.back() != i)
                    location.writes.push_back(i);
            }
            putToThoseBelow(path, value);
        }
        // Named references rather than a structured binding: the lambda below captures
        // them, which clang before 16 does not allow for bindings.
        for (auto &entry : between) {
            const Path &path = entry.first;
            Between &location = entry.second;
            // A listener above several writes was found once for each.
            std::sort(location.listeners.begin(), location.listeners.end());
            location.listeners.erase(
                std::unique(location.listeners.begin(), location.listeners.end()),
                location.listeners.end());
            std::vector<std::pair<Path, NodePtr>> writes;
            for (const std::size_t i : location.writes)
                writes.push_back(change_.writes[i]);
            for (const auto &listener : location.listeners)
                send(listener, [&] {
                    return patchEvent("/", patchChildren(path, writes.begin(), writes.end()));
                });
        }
    }

    // Query streams take in every write first and get at most one new result per change;
    // streams with the same query on the same location share it and its event.
    void publishQueries(QueuedBytes &budget)
    {
        std::sort(queries_.begin(), queries_.end());
        queries_.erase(std::unique(queries_.begin(), queries_.end()), queries_.end());
        struct Result
        {
            NodePtr value;
            Event event;
        };
        std::map<std::pair<Path, std::string>, Result> results;
        for (const auto &listener : queries_) {
            serve(*listener, [&] {
                auto [known, fresh] =
                    results.try_emplace({listener->path(), listener->query()->canonical()});
                Result &result = known->second;
                if (fresh)
                    result.value = applyQuery(realtime::find(change_.root, listener->path()),
                                              *listener->query());
                listener->offerResult(result.value, [&] {
                    if (!result.event)
                        result.event = budget.event(sseEvent("put", putData("/", result.value)));
                    return result.event;
                });
            });
        }
    }

private:
    bool concerned(const Listener &listener) const
    {
        return listener.afterSeq() < change_.seq && !listener.finished();
    }

    // One listener's trouble (its event cannot even be built) is that listener's end, never
    // the server's or the other listeners'.
    static void serve(Listener &listener, const auto &work)
    {
        try {
            work();
        } catch (const std::bad_alloc &) {
            listener.cancel("the server ran out of memory for this stream");
        }
    }

    void send(const std::shared_ptr<Listener> &listener, const std::function<std::string()> &build)
    {
        if (!concerned(*listener))
            return;
        if (listener->query()) {
            queries_.push_back(listener);
            return;
        }
        serve(*listener, [&] {
            auto known = events_.find(listener->path());
            if (known == events_.end())
                known = events_.emplace(listener->path(), registry_.budget_->event(build())).first;
            listener->deliver(known->second);
        });
    }

    // Listeners at or below a written location get their own part of it whole.
    void putToThoseBelow(const Path &path, const NodePtr &value)
    {
        for (const auto &listener : registry_.atOrBelow(path))
            send(listener, [&] {
                return sseEvent("put", putData("/", valueBelow(value, path, listener->path())));
            });
    }

    static std::string patchEvent(std::string_view path, const std::string &children)
    {
        return sseEvent("patch",
                        R"({"path":)" + Json(path).dump() + R"(,"data":)" + children + "}");
    }

    // {"a/b": <value>, ...}: the writes' locations relative to `base`, which is above them.
    template <typename Iterator>
    static std::string patchChildren(const Path &base, Iterator first, Iterator last)
    {
        std::string children = "{";
        for (auto it = first; it != last; ++it) {
            if (children.size() > 1)
                children += ',';
            const std::string path = relative(it->first, base);
            children += Json(std::string_view(path).substr(1)).dump();
            children += ':';
            appendJson(children, it->second, Form::read);
        }
        children += '}';
        return children;
    }

    const ListenerRegistry &registry_;
    const Change &change_;
    std::map<Path, Event> events_;
    Found queries_;
};

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
    Fanout fanout(*this, change);
    if (change.update)
        fanout.publishUpdate();
    else
        fanout.publishSet();
    fanout.publishQueries(*budget_);
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
