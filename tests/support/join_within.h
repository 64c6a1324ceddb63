// Bounded joins of thread tasks. Join() has no limit, so a task that never
// ends would turn the test into a silent ctest timeout; this fails the test
// where it waited instead, and says which task it was.
#ifndef BASE_TESTS_SUPPORT_JOIN_WITHIN_H_
#define BASE_TESTS_SUPPORT_JOIN_WITHIN_H_

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>

#include "base/thread_task.h"

namespace base::testing {

// A task the test has released (a gate opened, an interruption sent) ends in
// microseconds; only a hang ever reaches this, even under a sanitizer.
constexpr std::chrono::seconds kJoinLimit{10};

// Joins `task` unless it is still running after `limit`:
//   ASSERT_TRUE(JoinWithin(task));
[[nodiscard]] inline ::testing::AssertionResult JoinWithin(
    OrvThread::ThreadTask* task,
    std::chrono::milliseconds limit = kJoinLimit) {
  if (task->TimedJoin(static_cast<std::uint32_t>(limit.count())))
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "task " << task->GetId() << " still runs after " << limit.count() << " ms";
}

}  // namespace base::testing

#endif  // BASE_TESTS_SUPPORT_JOIN_WITHIN_H_
