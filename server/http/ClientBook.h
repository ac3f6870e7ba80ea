#pragma once

#include <cstddef>
#include <list>
#include <mutex>
#include <string>
#include <unordered_map>

namespace tailwise::net {

// Who is connected from where: connections and streams per client address, and per address
// the connections waiting for a request, longest-waiting first. Decides who may connect when
// the server or an address is full: a connection that only waits gives way, from the address
// over its limit, or else from the address holding the most; one that is busy never does.
// Thread-safe; every operation is constant time but for finding the fullest address.
class ClientBook
{
public:
    using Id = const void *;

    struct Limits
    {
        std::size_t connections;
        std::size_t connectionsPerAddress;
        std::size_t streamsPerAddress;
    };

    struct Admission
    {
        bool admitted = false;
        Id evicted = nullptr; // to be closed to make room; already out of the waiting lists
    };

    explicit ClientBook(Limits limits) : limits_(limits) {}

    Admission admit(const std::string &address);
    void leave(Id id, const std::string &address);
    // The connection starts or stops waiting for its next request.
    void setWaiting(Id id, const std::string &address, bool waiting);
    bool openStream(const std::string &address);
    void closeStream(const std::string &address);
    std::size_t connections() const;

private:
    struct Address
    {
        std::size_t connections = 0;
        std::size_t streams = 0;
        std::list<Id> waiting;
    };

    Id evictFrom(Address &address);
    void forgetIfIdle(const std::string &address);

    const Limits limits_;
    mutable std::mutex mutex_;
    std::size_t connections_ = 0;
    std::unordered_map<std::string, Address> addresses_;
    std::unordered_map<Id, std::list<Id>::iterator> waitingEntries_;
};

} // namespace tailwise::net
