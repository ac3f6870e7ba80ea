#pragma once

#include <QObject>

#include <functional>

// The phone's main queue: work queued here runs later on the main thread's event loop, never
// inside the call that queued it. With a context object the work is dropped when the context
// is destroyed first, which is how a screen that closed early never sees its answer.
class DispatchQueue
{
public:
    static DispatchQueue &main();

    void async(std::function<void()> work, QObject *context = nullptr) const;
    void asyncAfter(int milliseconds, std::function<void()> work, QObject *context = nullptr) const;

private:
    DispatchQueue() = default;
};
