#include "DeviceStreams.h"

#include <algorithm>

namespace tailwise::push {

DeviceStream::DeviceStream(std::string playerId, StreamLimits limits,
                           std::shared_ptr<net::QueuedBytes> budget,
                           std::weak_ptr<DeviceStreams> registry, Written written)
    : playerId_(std::move(playerId)), limits_(limits), budget_(std::move(budget)),
      registry_(std::move(registry)), written_(std::move(written))
{}

bool DeviceStream::queueLocked(std::int64_t seq, const net::QueuedEvent &event)
{
    if (ended_ || seq <= last_)
        return false;
    // A device that reads nothing must not hold memory: it is cut off and, when it comes
    // back, reads what it missed from the store.
    if (queued_.size() >= limits_.maxQueued || budget_->used() > budget_->limit()) {
        endLocked();
        return true;
    }
    queued_.push_back({seq, event});
    last_ = seq;
    return true;
}

void DeviceStream::endLocked()
{
    ended_ = true;
    queued_.clear();
    early_.clear();
}

void DeviceStream::begin(std::vector<std::pair<std::int64_t, net::QueuedEvent>> backlog)
{
    {
        const std::lock_guard lock(mutex_);
        if (began_)
            return;
        began_ = true;
        for (const auto &[seq, event] : backlog)
            queueLocked(seq, event);
        // Delivered while the backlog was read: some of it may be in the backlog too.
        for (const Queued &early : early_)
            queueLocked(early.seq, early.event);
        early_.clear();
    }
    wake(false);
}

void DeviceStream::deliver(std::int64_t seq, const net::QueuedEvent &event)
{
    bool changed = false;
    bool abortWrite = false;
    {
        const std::lock_guard lock(mutex_);
        if (!began_) {
            if (!ended_ && early_.size() < limits_.maxQueued)
                early_.push_back({seq, event});
            else
                endLocked();
            return;
        }
        changed = queueLocked(seq, event);
        abortWrite = ended_ && writing_ > 0;
    }
    if (changed)
        wake(abortWrite);
}

void DeviceStream::wake(bool abortWrite)
{
    std::function<void()> signal;
    {
        const std::lock_guard lock(mutex_);
        signal = abortWrite ? abort_ : ready_;
    }
    if (signal)
        signal();
}

void DeviceStream::start(std::function<void()> ready, std::function<void()> abort)
{
    const std::lock_guard lock(mutex_);
    ready_ = std::move(ready);
    abort_ = std::move(abort);
}

net::ResponseStream::Chunk DeviceStream::next()
{
    Chunk chunk;
    std::int64_t written = 0;
    {
        const std::lock_guard lock(mutex_);
        // next() comes back only once the previous chunk is written.
        written = std::exchange(writing_, 0);
        for (Queued &queued : queued_) {
            chunk.pieces.push_back(std::move(queued.event));
            writing_ = queued.seq;
        }
        queued_.clear();
        chunk.last = ended_;
    }
    if (written > 0)
        written_(playerId_, written);
    return chunk;
}

std::string DeviceStream::idle()
{
    return ": keep-alive\n\n";
}

void DeviceStream::close()
{
    {
        const std::lock_guard lock(mutex_);
        if (closed_)
            return;
        closed_ = true;
        endLocked();
        ready_ = nullptr;
        abort_ = nullptr;
    }
    if (auto registry = registry_.lock())
        registry->remove(this);
}

DeviceStreams::DeviceStreams(StreamLimits limits, DeviceStream::Written written)
    : limits_(limits), written_(std::move(written)),
      budget_(std::make_shared<net::QueuedBytes>(limits.maxTotalBytes))
{}

std::shared_ptr<DeviceStream> DeviceStreams::open(const std::string &playerId)
{
    const std::lock_guard lock(mutex_);
    auto &streams = byPlayer_[playerId];
    if (streams.size() >= limits_.maxPerPlayer) {
        if (streams.empty())
            byPlayer_.erase(playerId);
        return nullptr;
    }
    auto stream =
        std::make_shared<DeviceStream>(playerId, limits_, budget_, weak_from_this(), written_);
    streams.push_back(stream);
    return stream;
}

void DeviceStreams::remove(const DeviceStream *stream)
{
    const std::lock_guard lock(mutex_);
    const auto found = byPlayer_.find(stream->playerId());
    if (found == byPlayer_.end())
        return;
    std::erase_if(found->second, [stream](const auto &open) { return open.get() == stream; });
    if (found->second.empty())
        byPlayer_.erase(found);
}

net::QueuedEvent DeviceStreams::event(const EventText &text, std::int64_t badge)
{
    return budget_->event(text.withBadge(badge));
}

void DeviceStreams::publish(std::int64_t seq, const EventParts &parts,
                            const std::vector<Recipient> &recipients)
{
    const EventText text(seq, parts);
    for (const Recipient &recipient : recipients) {
        std::vector<std::shared_ptr<DeviceStream>> streams;
        {
            const std::lock_guard lock(mutex_);
            const auto found = byPlayer_.find(recipient.playerId);
            if (found == byPlayer_.end())
                continue;
            streams = found->second;
        }
        const net::QueuedEvent shared = event(text, recipient.badge);
        for (const auto &stream : streams)
            stream->deliver(seq, shared);
    }
}

std::size_t DeviceStreams::size() const
{
    const std::lock_guard lock(mutex_);
    std::size_t count = 0;
    for (const auto &[player, streams] : byPlayer_)
        count += streams.size();
    return count;
}

} // namespace tailwise::push
