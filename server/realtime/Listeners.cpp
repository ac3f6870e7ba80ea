#include "Listeners.h"

#include <algorithm>
#include <map>

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
Json valueBelow(const Json &value, const Path &at, const Path &below)
{
    const Json *node = &value;
    for (std::size_t i = at.size(); i < below.size(); ++i) {
        if (!node->is_object())
            return Json();
        const auto found = node->find(below[i]);
        if (found == node->end())
            return Json();
        node = &*found;
    }
    return *node;
}

// A query's result as a stream sends it: no matching child is an empty location, null.
Json streamResult(const Json &stored, const Query &query)
{
    Json result = applyQuery(stored, query);
    if (result.is_object() && result.empty())
        return Json();
    return result;
}

} // namespace

std::string sseEvent(std::string_view name, const Json &data)
{
    std::string event = "event: ";
    event += name;
    event += "\ndata: ";
    event += data.dump();
    event += "\n\n";
    return event;
}

Listener::Listener(Path path, std::string connectionId, std::uint64_t afterSeq,
                   ListenerOptions options, std::weak_ptr<ListenerRegistry> registry,
                   std::optional<Query> query)
    : path_(std::move(path)), connectionId_(std::move(connectionId)), afterSeq_(afterSeq),
      options_(options), registry_(std::move(registry)), query_(std::move(query))
{}

void Listener::begin(const Json &stored)
{
    deliver(sseEvent("connected", {{"id", connectionId_}}), false);
    Json first = stored;
    if (query_) {
        whole_.set({}, stored);
        lastSent_ = streamResult(stored, *query_);
        first = lastSent_;
    }
    deliver(sseEvent("put", {{"path", "/"}, {"data", render(first)}}), false);
}

void Listener::track(const Path &written, const Json &value)
{
    if (written.size() >= path_.size())
        whole_.set(Path(written.begin() + static_cast<std::ptrdiff_t>(path_.size()), written.end()),
                   value);
    else
        whole_.set({}, valueBelow(value, written, path_));
}

void Listener::refresh()
{
    Json result = streamResult(whole_.root(), *query_);
    if (result == lastSent_)
        return;
    deliver(sseEvent("put", {{"path", "/"}, {"data", render(result)}}));
    lastSent_ = std::move(result);
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

void Listener::deliver(std::string event, bool bounded)
{
    std::function<void()> ready;
    {
        const std::lock_guard lock(mutex_);
        if (finished_)
            return;
        if (bounded && queued_.size() + event.size() > options_.maxQueuedBytes) {
            queued_ = sseEvent("cancel", "the listener fell too far behind");
            finished_ = true;
        } else {
            queued_ += event;
        }
        ready = ready_;
    }
    if (ready)
        ready();
}

bool Listener::finished() const
{
    const std::lock_guard lock(mutex_);
    return finished_;
}

void Listener::start(std::function<void()> ready)
{
    const std::lock_guard lock(mutex_);
    ready_ = std::move(ready);
}

net::ResponseStream::Chunk Listener::next()
{
    const std::lock_guard lock(mutex_);
    Chunk chunk;
    chunk.data.swap(queued_);
    chunk.last = finished_;
    return chunk;
}

std::string Listener::idle()
{
    return sseEvent("keep-alive", nullptr);
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
        queued_.clear();
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

template <typename Visit>
void ListenerRegistry::atOrAbove(const Path &path, Visit visit) const
{
    for (std::size_t keys = 0; keys <= path.size(); ++keys) {
        auto [first, last] = entries_.equal_range(registryKey(path, keys));
        for (auto it = first; it != last; ++it)
            visit(*it->second);
    }
}

template <typename Visit>
void ListenerRegistry::atOrBelow(const Path &path, Visit visit) const
{
    const std::string prefix = registryKey(path, path.size());
    for (auto it = entries_.lower_bound(prefix);
         it != entries_.end() && it->first.compare(0, prefix.size(), prefix) == 0; ++it)
        visit(*it->second);
}

void ListenerRegistry::publish(const Change &change)
{
    const std::lock_guard lock(mutex_);
    if (entries_.empty())
        return;
    const auto concerned = [&](const Listener &listener) {
        return listener.afterSeq() < change.seq && !listener.finished();
    };
    // Query streams take in every write first and send at most one new result per change.
    std::vector<Listener *> queries;
    const auto track = [&](Listener &listener, const Path &path, const Json &value) {
        listener.track(path, value);
        queries.push_back(&listener);
    };

    // Every listener on one location is sent the same bytes: each event is built once per
    // location and write, not once per listener.
    std::map<Path, std::string> events;
    const auto eventFor = [&](const Path &at, const auto &build) -> const std::string & {
        auto known = events.find(at);
        if (known == events.end())
            known = events.emplace(at, build()).first;
        return known->second;
    };

    if (change.patch) {
        Json children = Json::object();
        for (const auto &[path, value] : change.writes)
            children[path.back()] = render(value);
        atOrAbove(change.patchAt, [&](Listener &listener) {
            if (concerned(listener) && !listener.hasQuery())
                listener.deliver(eventFor(listener.path(), [&] {
                    return sseEvent("patch", {{"path", relative(change.patchAt, listener.path())},
                                              {"data", children}});
                }));
        });
    }
    for (const auto &[path, value] : change.writes) {
        events.clear();
        atOrAbove(path, [&](Listener &listener) {
            if (!concerned(listener) || listener.path().size() == path.size())
                return;
            if (listener.hasQuery())
                track(listener, path, value);
            else if (!change.patch)
                listener.deliver(eventFor(listener.path(), [&] {
                    return sseEvent("put", {{"path", relative(path, listener.path())},
                                            {"data", render(value)}});
                }));
        });
        atOrBelow(path, [&](Listener &listener) {
            if (!concerned(listener))
                return;
            if (listener.hasQuery())
                track(listener, path, value);
            else
                listener.deliver(eventFor(listener.path(), [&] {
                    return sseEvent("put",
                                    {{"path", "/"},
                                     {"data", render(valueBelow(value, path, listener.path()))}});
                }));
        });
    }
    std::sort(queries.begin(), queries.end());
    queries.erase(std::unique(queries.begin(), queries.end()), queries.end());
    for (Listener *listener : queries)
        listener->refresh();
}

} // namespace tailwise::realtime
