// The library's thread pool: work items run once each on a pool thread.
//
// About one worker per core runs items at a time. Items may block waiting for
// each other, which would deadlock a fixed-size pool, so a worker that blocks
// in one of the library's waits (ScopedBlockingWait) lets another worker take
// queued items at once, up to kMaxPoolWorkers; and while items wait and none
// has been taken for a while, the pool adds a worker by itself, for blocking
// it cannot see (a lock of the caller's, I/O). Idle workers beyond the core
// count end after a while. On Windows this pool is the system's, which
// behaves so.
//
// The pool is owned by the module: at unload it stops and joins every worker
// before the module's statics go, so that unloading never unmaps code a
// worker still runs (on Windows, where the workers are the process's: it waits
// until none runs an item of this module). At the end of the process it joins
// nothing: a worker blocked for good does not keep the process alive.
//
// Threading: QueueWorkItem may be called from any thread, pool threads
// included. ShutdownThreadPool must not be called from a work item.
#ifndef BASE_PLATFORM_THREAD_POOL_H_
#define BASE_PLATFORM_THREAD_POOL_H_

#include <cstddef>
#include <cstdint>

namespace base::platform {

// The most workers alive at one time, and so the most items running at once.
constexpr std::size_t kMaxPoolWorkers = 500;

// The hint that an item runs long. Every item may block in the posix pool,
// where the flag changes nothing; Windows passes it on to the system pool.
constexpr std::uint32_t kWorkItemLongFunction = 0x10;

using WorkItemFunction = std::uint32_t (*)(void* context);

// Arranges for `function(context)` to run once, soon, on a pool thread, and
// returns at once. False means refused: no worker could be started and none
// is there to take the item, or the pool was shut down; the item will not run.
// The result of `function` is ignored; an exception that leaves it ends the
// process.
[[nodiscard]] bool QueueWorkItem(WorkItemFunction function, void* context, std::uint32_t flags);

// Stops the pool and joins its workers, the running ones after their item
// ends. Items that have not started are dropped uncalled (on Windows they run
// first). Queueing fails from then on. Idempotent.
void ShutdownThreadPool();

}  // namespace base::platform

#endif  // BASE_PLATFORM_THREAD_POOL_H_
