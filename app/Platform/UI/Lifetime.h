#pragma once

#include <QObject>
#include <QPointer>

#include <utility>

// Wraps a completion so that it does nothing once `context` is gone. Managers and database
// observers call back whenever their answer arrives; a screen that closed in the meantime
// must not be reached, so every completion a controller hands out goes through this.
template <typename Callback>
auto whileAlive(QObject *context, Callback callback)
{
    return [context = QPointer<QObject>(context),
            callback = std::move(callback)](auto &&...arguments) mutable {
        if (context)
            callback(std::forward<decltype(arguments)>(arguments)...);
    };
}
