// A fresh scheduler per test, on a shifted clock, and callbacks that log.
#ifndef BASE_TESTS_TIMER_SCHEDULER_TEST_SUPPORT_H_
#define BASE_TESTS_TIMER_SCHEDULER_TEST_SUPPORT_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/message_loop.h"
#include "platform/testing/clock_testing.h"
#include "timer/scheduler.h"

namespace base::test {

inline void* Owner(std::uintptr_t n) {
  return reinterpret_cast<void*>(n);
}

// Every call of A, B or C on the test thread, with what each should do.
struct CallLog {
  std::vector<char> names;
  std::function<void(char name, void* owner)> onCall;
};
inline CallLog g_log;

template <char kName>
void Logged(void* owner, void*) {
  g_log.names.push_back(kName);
  if (g_log.onCall)
    g_log.onCall(kName, owner);
}
constexpr SchedulerCallback A = Logged<'A'>;
constexpr SchedulerCallback B = Logged<'B'>;
constexpr SchedulerCallback C = Logged<'C'>;

// From now on, every call of A throws once it is logged.
inline void MakeAThrow() {
  g_log.onCall = [](char name, void*) {
    if (name == 'A')
      throw std::runtime_error("A throws");
  };
}

inline std::vector<char> Names(const char* names) {
  return std::vector<char>(names, names + std::char_traits<char>::length(names));
}

class SchedulerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    DeleteScheduler();
    g_log = CallLog{};
    platform::testing::SetTickCount(1000000);
  }
  void TearDown() override {
    DeleteScheduler();
    g_log = CallLog{};
    platform::testing::ResetTickCount();
  }
  // Moves the clock on and dispatches what that brings due.
  static void Advance(std::uint32_t milliseconds) {
    platform::testing::AdvanceTickCount(milliseconds);
    PumpMessages(0);
  }
  static CTimerDetail& scheduler() { return *GetScheduler(); }
};

}  // namespace base::test

#endif  // BASE_TESTS_TIMER_SCHEDULER_TEST_SUPPORT_H_
