// Test controls of the thread pool. Not exported.
#ifndef BASE_PLATFORM_TESTING_THREAD_POOL_TESTING_H_
#define BASE_PLATFORM_TESTING_THREAD_POOL_TESTING_H_

#include <cstddef>
#include <cstdint>

namespace base::platform::testing {

// Makes the next QueueWorkItem refuse its item, once.
void FailNextWorkItem();
// How long a worker stays idle before it ends; the default is 10 seconds.
void SetIdleWorkerTimeout(std::uint32_t milliseconds);
// Workers alive at this moment, idle or busy.
std::size_t PoolWorkerCount();

}  // namespace base::platform::testing

#endif  // BASE_PLATFORM_TESTING_THREAD_POOL_TESTING_H_
