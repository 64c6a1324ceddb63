// Helpers of the thread-task tests: a gate the main thread opens, delegates
// that count their own end, and elapsed time on the real clock.
#ifndef BASE_TESTS_THREAD_TASK_TEST_SUPPORT_H_
#define BASE_TESTS_THREAD_TASK_TEST_SUPPORT_H_

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <utility>

#include "base/method.h"
#include "base/platform.h"
#include "base/thread_task.h"
#include "platform/testing/clock_testing.h"
#include "support/join_within.h"

namespace OrvThread::testing {

using Clock = std::chrono::steady_clock;

inline std::int64_t MsSince(Clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

// A manual-reset event made with the host's calls. Waiting on it is a plain
// wait, not an interruption point.
class Gate {
 public:
  Gate() : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;
  ~Gate() { CloseHandle(event_); }

  void Open() { SetEvent(event_); }
  bool Wait(DWORD milliseconds = 10000) { return WaitForSingleObject(event_, milliseconds) == 0; }
  HANDLE handle() const { return event_; }

 private:
  HANDLE event_;
};

// A target that counts its runs and its destruction.
class CountingTarget : public MethodTarget {
 public:
  CountingTarget(std::atomic<int>* runs, std::atomic<int>* deaths, bool valid = true)
      : runs_(runs), deaths_(deaths), valid_(valid) {}
  ~CountingTarget() override { deaths_->fetch_add(1); }
  bool IsValid() override { return valid_; }
  void Invoke() override { runs_->fetch_add(1); }

 private:
  std::atomic<int>* runs_;
  std::atomic<int>* deaths_;
  bool valid_;
};

// Every test starts with the manager made and the real clock, and leaves no
// task running behind it.
class TaskTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(InitThreadManagement()); }
  void TearDown() override {
    FInitThreadManagement();
    base::platform::testing::ResetTickCount();
  }
};

// Posts `f` as a task; fails the test if the launch is refused.
template <typename F>
ThreadTaskPtr Post(F f) {
  ThreadTaskPtr task = PostThreadTask(MakeMethod(std::move(f)));
  EXPECT_FALSE(task == nullptr);
  return task;
}

// Runs `f` as a task and waits for its end.
template <typename F>
void RunAsTask(F f) {
  ThreadTaskPtr task = Post(std::move(f));
  ASSERT_FALSE(task == nullptr);
  ASSERT_TRUE(base::testing::JoinWithin(task));
}

}  // namespace OrvThread::testing

#endif  // BASE_TESTS_THREAD_TASK_TEST_SUPPORT_H_
