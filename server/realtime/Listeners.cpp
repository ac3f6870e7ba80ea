#include "Listeners.h"

namespace tailwise::realtime {
namespace {

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
                   ListenerOptions options, std::weak_ptr<ListenerRegistry> registry)
    : path_(std::move(path)), connectionId_(std::move(connectionId)), afterSeq_(afterSeq),
      options_(options), registry_(std::move(registry))
{}

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
    {
        const std::lock_guard lock(mutex_);
        if (closed_)
            return;
        closed_ = finished_ = true;
        ready_ = nullptr;
        queued_.clear();
    }
    if (auto registry = registry_.lock())
        registry->remove(this);
}

void ListenerRegistry::add(const std::shared_ptr<Listener> &listener)
{
    const std::lock_guard lock(mutex_);
    entries_.emplace(registryKey(listener->path(), listener->path().size()), listener);
}

void ListenerRegistry::remove(const Listener *listener)
{
    const std::lock_guard lock(mutex_);
    auto [first, last] =
        entries_.equal_range(registryKey(listener->path(), listener->path().size()));
    for (auto it = first; it != last; ++it) {
        if (it->second.get() == listener) {
            entries_.erase(it);
            return;
        }
    }
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

    if (change.patch) {
        Json children = Json::object();
        for (const auto &[path, value] : change.writes)
            children[path.back()] = render(value);
        atOrAbove(change.patchAt, [&](Listener &listener) {
            if (concerned(listener))
                listener.deliver(
                    sseEvent("patch", {{"path", relative(change.patchAt, listener.path())},
                                       {"data", children}}));
        });
    }
    for (const auto &[path, value] : change.writes) {
        if (!change.patch) {
            atOrAbove(path, [&](Listener &listener) {
                if (concerned(listener) && listener.path().size() < path.size())
                    listener.deliver(sseEvent("put", {{"path", relative(path, listener.path())},
                                                      {"data", render(value)}}));
            });
        }
        atOrBelow(path, [&](Listener &listener) {
            if (concerned(listener))
                listener.deliver(
                    sseEvent("put", {{"path", "/"},
                                     {"data", render(valueBelow(value, path, listener.path()))}}));
        });
    }
}

} // namespace tailwise::realtime
