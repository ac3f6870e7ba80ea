#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

namespace tailwise::net {

// A text waiting in a stream's queue or write; streams share it, never copy it.
using QueuedEvent = std::shared_ptr<const std::string>;

// The event texts waiting in stream queues and writes, counted together. An event that goes
// to many streams as the same text takes its bytes once, for as long as any stream still
// holds it.
class QueuedBytes : public std::enable_shared_from_this<QueuedBytes>
{
public:
    explicit QueuedBytes(std::size_t limit) : limit_(limit) {}

    QueuedEvent event(std::string text);
    std::size_t used() const { return used_.load(); }
    std::size_t limit() const { return limit_; }

private:
    std::atomic<std::size_t> used_{0};
    const std::size_t limit_;
};

} // namespace tailwise::net
