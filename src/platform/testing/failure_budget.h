// A count of calls that a test control has asked to fail, shared by the
// threads that make those calls. Not exported.
#ifndef BASE_PLATFORM_TESTING_FAILURE_BUDGET_H_
#define BASE_PLATFORM_TESTING_FAILURE_BUDGET_H_

#include <atomic>

namespace base::platform::testing {

// Takes one failure if any are left: true means the caller must fail.
inline bool TakeFailure(std::atomic<unsigned>& toFail) {
  unsigned left = toFail.load(std::memory_order_relaxed);
  while (left != 0 && !toFail.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) {
  }
  return left != 0;
}

}  // namespace base::platform::testing

#endif  // BASE_PLATFORM_TESTING_FAILURE_BUDGET_H_
