#pragma once

#include "Platform/DatabaseReference.h"

#include <optional>

// Keeps one listener on a location for as long as it lives, so that a screen's listeners go
// with the screen. Following another location first lets go of the previous one.
class DatabaseObservation
{
public:
    DatabaseObservation() = default;
    ~DatabaseObservation() { stop(); }
    DatabaseObservation(const DatabaseObservation &) = delete;
    DatabaseObservation &operator=(const DatabaseObservation &) = delete;

    void follow(const DatabaseReference &location, DataEventType eventType,
                DataEventCallback callback, DataCancelCallback withCancel = {})
    {
        stop();
        location_ = location;
        handle_ = location_->observe(eventType, std::move(callback), std::move(withCancel));
    }

    void stop()
    {
        if (location_)
            location_->removeObserver(handle_);
        location_.reset();
        handle_ = 0;
    }

private:
    std::optional<DatabaseReference> location_;
    DatabaseHandle handle_ = 0;
};
