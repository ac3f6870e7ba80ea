#pragma once

namespace tailwise::test {

// From now on, allocations of a kilobyte or more on the thread of this name fail with
// std::bad_alloc, as if the machine had run out of memory just there; nullptr ends it. The
// test program replaces the global operator new to do so.
void failAllocationsOnThread(const char *threadName);

} // namespace tailwise::test
