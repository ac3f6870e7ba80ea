#pragma once

#include "backend/Sqlite.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <optional>
#include <thread>

namespace tailwise::push {

// Writes on one SQLite connection, from a thread of its own, committed in groups: writes that
// arrive while a commit is under way wait for the next and share it, so concurrent writers
// pay for one fsync together. Each write runs under a savepoint, so one that throws leaves
// nothing behind and does not fail the others.
class CommitQueue
{
public:
    using Work = std::function<void(backend::Connection &)>;
    using Published = std::function<void()>;

    // Writes nobody waits for (`post`) are committed with the next awaited one, or after
    // `lazyDelay` when none comes.
    CommitQueue(backend::Connection &connection, std::chrono::milliseconds lazyDelay);
    // Commits what is queued, then stops.
    ~CommitQueue();
    CommitQueue(const CommitQueue &) = delete;
    CommitQueue &operator=(const CommitQueue &) = delete;

    // Runs `work` and returns once it is committed; throws what `work` threw (nothing of it is
    // kept) or why the commit failed. `published` runs on the queue's thread right after the
    // commit, in commit order, before this returns.
    void run(Work work, Published published = {});
    // The same without waiting: for writes that may be lost in a crash (nothing depends on
    // them but efficiency) and are worth gathering.
    void post(Work work, Published published = {});

private:
    struct Job
    {
        Work work;
        Published published;
        std::optional<std::promise<void>> done; // none for posted writes
        std::exception_ptr failure;
    };

    void enqueue(Job job);
    void loop();
    void commit(std::deque<Job> &batch);

    backend::Connection &connection_;
    const std::chrono::milliseconds lazyDelay_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Job> queued_;
    std::size_t awaited_ = 0; // queued jobs someone waits for
    bool stopping_ = false;
    std::thread thread_;
};

} // namespace tailwise::push
