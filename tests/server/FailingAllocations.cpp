#include "FailingAllocations.h"

#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

std::atomic<const char *> failingThread{nullptr};

bool onFailingThread()
{
    const char *wanted = failingThread.load(std::memory_order_relaxed);
    if (!wanted)
        return false;
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    return std::strcmp(name, wanted) == 0;
}

} // namespace

void tailwise::test::failAllocationsOnThread(const char *threadName)
{
    failingThread = threadName;
}

void *operator new(std::size_t size)
{
    if (size >= 1024 && onFailingThread())
        throw std::bad_alloc();
    if (void *memory = std::malloc(size ? size : 1))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept
{
    std::free(memory);
}
