// An item for the pool tests that reports the thread it ran on and signals.
#ifndef BASE_TESTS_SUPPORT_POOL_ITEM_H_
#define BASE_TESTS_SUPPORT_POOL_ITEM_H_

#include <atomic>
#include <cstdint>

#include "platform/thread.h"
#include "platform/wait.h"

namespace base::platform {

struct Signal {
  HANDLE done = CreateEvent(true, false);
  std::atomic<std::uint32_t> threadId{0};
  ~Signal() { CloseHandle(done); }
};

inline std::uint32_t Report(void* context) {
  auto* signal = static_cast<Signal*>(context);
  signal->threadId = CurrentThreadId();
  SetEvent(signal->done);
  return 0;
}

}  // namespace base::platform

#endif  // BASE_TESTS_SUPPORT_POOL_ITEM_H_
