#include "CommitQueue.h"

#include <stdexcept>

namespace tailwise::push {
namespace {

// A commit takes at most this many writes; the rest wait for the next, so one commit never
// holds its writers for long.
constexpr std::size_t maxBatch = 512;

} // namespace

CommitQueue::CommitQueue(backend::Connection &connection, std::chrono::milliseconds lazyDelay)
    : connection_(connection), lazyDelay_(lazyDelay), thread_([this] { loop(); })
{}

CommitQueue::~CommitQueue()
{
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_one();
    thread_.join();
}

void CommitQueue::enqueue(Job job)
{
    const bool awaited = job.done.has_value();
    {
        const std::lock_guard lock(mutex_);
        if (stopping_)
            throw std::runtime_error("the push store is closing");
        queued_.push_back(std::move(job));
        awaited_ += awaited;
    }
    if (awaited)
        wake_.notify_one();
}

void CommitQueue::run(Work work, Published published)
{
    std::promise<void> done;
    std::future<void> committed = done.get_future();
    enqueue(Job{std::move(work), std::move(published), std::move(done), {}});
    committed.get();
}

void CommitQueue::post(Work work, Published published)
{
    enqueue(Job{std::move(work), std::move(published), std::nullopt, {}});
}

void CommitQueue::loop()
{
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || !queued_.empty(); });
        if (awaited_ == 0 && !stopping_)
            wake_.wait_for(lock, lazyDelay_, [this] { return stopping_ || awaited_ > 0; });
        std::deque<Job> batch;
        while (!queued_.empty() && batch.size() < maxBatch) {
            awaited_ -= queued_.front().done.has_value();
            batch.push_back(std::move(queued_.front()));
            queued_.pop_front();
        }
        lock.unlock();
        commit(batch);
        lock.lock();
        if (stopping_ && queued_.empty())
            return;
    }
}

void CommitQueue::commit(std::deque<Job> &batch)
{
    if (batch.empty())
        return;
    std::exception_ptr failed;
    try {
        backend::Transaction transaction(connection_);
        for (Job &job : batch) {
            connection_.exec("SAVEPOINT job");
            try {
                job.work(connection_);
                connection_.exec("RELEASE job");
            } catch (...) {
                job.failure = std::current_exception();
                if (!connection_.inTransaction())
                    throw;
                connection_.exec("ROLLBACK TO job");
                connection_.exec("RELEASE job");
            }
        }
        transaction.commit();
    } catch (...) {
        failed = std::current_exception();
    }
    for (Job &job : batch) {
        if (!failed && !job.failure && job.published) {
            try {
                job.published();
            } catch (...) {
                // What is committed stays committed; whoever missed the news reads it from
                // the database later.
            }
        }
        if (!job.done)
            continue;
        if (failed || job.failure)
            job.done->set_exception(job.failure ? job.failure : failed);
        else
            job.done->set_value();
    }
}

} // namespace tailwise::push
