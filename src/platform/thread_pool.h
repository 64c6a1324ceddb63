// The library's thread pool: work items run once each on a pool thread.
//
// The pool is elastic. An item starts on an idle worker; if none is idle and
// no running worker is about to take it, a new worker is started for it (one
// start at a time), up to kMaxPoolWorkers; only beyond that do items wait for a
// worker to finish. Items may therefore block waiting for each other, which
// would deadlock a fixed-size pool. Workers that stay idle for a while end.
// On Windows this pool is the system's, which behaves so.
//
// The pool is owned by the module: ShutdownThreadPool stops and joins every
// worker (on Windows, where the workers are the process's: waits until none
// runs an item of this module), and it runs by itself when the module's
// statics are destroyed, so that unloading the module never unmaps code a
// worker still runs.
//
// Threading: QueueWorkItem may be called from any thread, pool threads
// included. ShutdownThreadPool must not be called from a work item.
#ifndef BASE_PLATFORM_THREAD_POOL_H_
#define BASE_PLATFORM_THREAD_POOL_H_

#include <cstddef>
#include <cstdint>

namespace base::platform {

// The most workers alive at one time.
constexpr std::size_t kMaxPoolWorkers = 500;

// The hint that an item runs long. Every worker may run long in this pool, so
// the flag is accepted and changes nothing.
constexpr std::uint32_t kWorkItemLongFunction = 0x10;

using WorkItemFunction = std::uint32_t (*)(void* context);

// Arranges for `function(context)` to run once, soon, on a pool thread, and
// returns at once. False means refused: no worker could be started for it, or
// the pool was shut down; the item will not run. The result of `function` is
// ignored; an exception that leaves it ends the process.
bool QueueWorkItem(WorkItemFunction function, void* context, std::uint32_t flags);

// Stops the pool and joins its workers, the running ones after their item
// ends. Items that have not started are dropped uncalled (on Windows they run
// first). Queueing fails from then on. Idempotent.
void ShutdownThreadPool();

}  // namespace base::platform

#endif  // BASE_PLATFORM_THREAD_POOL_H_
