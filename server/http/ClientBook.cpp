#include "ClientBook.h"

namespace tailwise::net {

ClientBook::Id ClientBook::evictFrom(Address &address)
{
    if (address.waiting.empty())
        return nullptr;
    const Id oldest = address.waiting.front();
    address.waiting.pop_front();
    waitingEntries_.erase(oldest);
    return oldest;
}

ClientBook::Admission ClientBook::admit(const std::string &address)
{
    const std::lock_guard lock(mutex_);
    Address &mine = addresses_[address];
    Admission admission;
    if (mine.connections >= limits_.connectionsPerAddress) {
        admission.evicted = evictFrom(mine);
    } else if (connections_ >= limits_.connections) {
        Address *fullest = nullptr;
        for (auto &[name, other] : addresses_) {
            if (!other.waiting.empty() && (!fullest || other.connections > fullest->connections))
                fullest = &other;
        }
        if (fullest)
            admission.evicted = evictFrom(*fullest);
    } else {
        admission.admitted = true;
    }
    admission.admitted = admission.admitted || admission.evicted;
    if (admission.admitted) {
        ++mine.connections;
        ++connections_;
    } else {
        forgetIfIdle(address);
    }
    return admission;
}

void ClientBook::leave(Id id, const std::string &address)
{
    const std::lock_guard lock(mutex_);
    const auto found = addresses_.find(address);
    if (found == addresses_.end())
        return;
    if (const auto entry = waitingEntries_.find(id); entry != waitingEntries_.end()) {
        found->second.waiting.erase(entry->second);
        waitingEntries_.erase(entry);
    }
    --found->second.connections;
    --connections_;
    forgetIfIdle(address);
}

void ClientBook::setWaiting(Id id, const std::string &address, bool waiting)
{
    const std::lock_guard lock(mutex_);
    const auto found = addresses_.find(address);
    if (found == addresses_.end())
        return;
    const auto entry = waitingEntries_.find(id);
    if (waiting && entry == waitingEntries_.end()) {
        found->second.waiting.push_back(id);
        waitingEntries_.emplace(id, std::prev(found->second.waiting.end()));
    } else if (!waiting && entry != waitingEntries_.end()) {
        found->second.waiting.erase(entry->second);
        waitingEntries_.erase(entry);
    }
}

bool ClientBook::openStream(const std::string &address)
{
    const std::lock_guard lock(mutex_);
    Address &state = addresses_[address];
    if (state.streams >= limits_.streamsPerAddress) {
        forgetIfIdle(address);
        return false;
    }
    ++state.streams;
    return true;
}

void ClientBook::closeStream(const std::string &address)
{
    const std::lock_guard lock(mutex_);
    const auto found = addresses_.find(address);
    if (found == addresses_.end())
        return;
    --found->second.streams;
    forgetIfIdle(address);
}

std::size_t ClientBook::connections() const
{
    const std::lock_guard lock(mutex_);
    return connections_;
}

void ClientBook::forgetIfIdle(const std::string &address)
{
    const auto found = addresses_.find(address);
    if (found != addresses_.end() && found->second.connections == 0 && found->second.streams == 0)
        addresses_.erase(found);
}

} // namespace tailwise::net
