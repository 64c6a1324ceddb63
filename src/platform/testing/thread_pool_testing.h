// Test controls of the thread pool. Not exported.
#ifndef BASE_PLATFORM_TESTING_THREAD_POOL_TESTING_H_
#define BASE_PLATFORM_TESTING_THREAD_POOL_TESTING_H_

#include <cstddef>
#include <cstdint>

namespace base::platform::testing {

// Makes the next QueueWorkItem refuse its item, once.
void FailNextWorkItem();

// The rest concerns the posix pool's own workers; the system pool on Windows
// has no such controls.

// How long a worker beyond the core count stays idle before it ends; the
// default is 2 seconds.
void SetIdleWorkerTimeout(std::uint32_t milliseconds);
// Lowers the most workers alive at once (kMaxPoolWorkers restores it), so a
// test reaches the cap with a few threads. Live workers above it are not
// ended, only no new one starts.
void SetWorkerCap(std::size_t cap);

// A snapshot of the pool, taken under its lock.
struct PoolCounts {
  std::size_t live;     // workers alive, idle or busy
  std::size_t running;  // inside an item and not blocked
  std::size_t blocked;  // inside an item, in one of the library's waits
  std::size_t queued;   // items not yet taken
};
PoolCounts CountPool();
// Workers alive at this moment, idle or busy.
std::size_t PoolWorkerCount();

}  // namespace base::platform::testing

#endif  // BASE_PLATFORM_TESTING_THREAD_POOL_TESTING_H_
