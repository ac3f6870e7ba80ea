#include "QueuedBytes.h"

namespace tailwise::net {

QueuedEvent QueuedBytes::event(std::string text)
{
    const std::size_t bytes = text.size();
    used_ += bytes;
    // The deleter keeps the counter alive: an event may outlive its service in a write.
    return QueuedEvent(new std::string(std::move(text)),
                       [self = shared_from_this(), bytes](const std::string *done) {
                           self->used_ -= bytes;
                           delete done;
                       });
}

} // namespace tailwise::net
