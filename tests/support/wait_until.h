// Bounded waiting for a condition that another thread makes true. A test that
// polls without a bound turns a regression into a silent ctest timeout with no
// name; this one fails where it waited, with what it was waiting for.
#ifndef BASE_TESTS_SUPPORT_WAIT_UNTIL_H_
#define BASE_TESTS_SUPPORT_WAIT_UNTIL_H_

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "base/message_loop.h"

namespace base::testing {

// Generous: a sanitizer build on a loaded 2-core machine is slow, and only a
// real hang should ever reach it.
constexpr std::chrono::seconds kWaitUntilLimit{30};

// Runs `step` until `condition` holds or `limit` passes; `doing` says what for.
template <typename Condition, typename Step>
[[nodiscard]] ::testing::AssertionResult PollUntil(Condition condition,
                                                   Step step,
                                                   const char* doing,
                                                   const char* what,
                                                   std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline)
      return ::testing::AssertionFailure()
             << "gave up after " << limit.count() << " ms " << doing << " " << what;
    step();
  }
  return ::testing::AssertionSuccess();
}

// Polls `condition` until it holds or `limit` passes. Returns whether it held,
// so the caller can stop before touching state that is not there yet:
//   ASSERT_TRUE(WaitUntil([&] { return done.load(); }, "the task to finish"));
template <typename Condition>
[[nodiscard]] ::testing::AssertionResult WaitUntil(
    Condition condition,
    const char* what,
    std::chrono::milliseconds limit = kWaitUntilLimit) {
  return PollUntil(
      condition, [] { std::this_thread::yield(); }, "waiting for", what, limit);
}

// Pumps this thread's messages until `condition` holds or `limit` passes.
// Public calls only, so that a test linked as a host can use it too.
template <typename Condition>
[[nodiscard]] ::testing::AssertionResult RunLoopUntil(
    Condition condition,
    const char* what,
    std::chrono::milliseconds limit = kWaitUntilLimit) {
  return PollUntil(
      condition, [] { PumpMessages(10); }, "pumping for", what, limit);
}

}  // namespace base::testing

#endif  // BASE_TESTS_SUPPORT_WAIT_UNTIL_H_
