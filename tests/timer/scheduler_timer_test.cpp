#include <gtest/gtest.h>

#include <stdexcept>

#include "base/timer.h"
#include "scheduler_test_support.h"

namespace base::test {
namespace {

using SchedulerTimerTest = SchedulerTest;

TEST_F(SchedulerTimerTest, IntervalClassesAndDuplicatesPerClass) {
  EXPECT_FALSE(SetInterval(10, nullptr, nullptr, nullptr));
  EXPECT_TRUE(SetInterval(0, A, nullptr, Owner(1)));
  EXPECT_TRUE(SetTimeout(0, A, nullptr, Owner(2)));
  EXPECT_TRUE(SetInterval(180, A, nullptr, Owner(3)));
  EXPECT_TRUE(SetInterval(181, A, nullptr, Owner(1)));  // same pair, other class
  EXPECT_TRUE(SetInterval(70000, A, nullptr, Owner(2)));
  EXPECT_TRUE(SetInterval(70001, A, nullptr, Owner(1)));
  EXPECT_TRUE(SetTimeout(static_cast<unsigned>(-5), B, nullptr, nullptr));
  const CTimerDetail& s = scheduler();
  EXPECT_EQ(s.fastSlots().count(), 3u);
  EXPECT_EQ(s.fastSlots().record(0).interval, 100u);
  EXPECT_EQ(s.fastSlots().record(1).interval, 100u);
  EXPECT_EQ(s.fastSlots().record(1).oneShot, 1);
  EXPECT_EQ(s.slowSlots().count(), 2u);
  ASSERT_EQ(s.longTimers().size(), 2u);
  EXPECT_EQ(s.longTimers()[1].interval, static_cast<unsigned>(-5));

  EXPECT_FALSE(SetInterval(100, A, nullptr, Owner(3)));
  EXPECT_FALSE(SetInterval(100, A, nullptr, nullptr));  // 0 matches every owner
  EXPECT_TRUE(SetInterval(100, B, nullptr, Owner(9)));
  EXPECT_FALSE(SetInterval(80000, A, nullptr, nullptr));
  EXPECT_TRUE(SetInterval(80000, B, nullptr, Owner(9)));  // an old owner 0 is no duplicate
}

TEST_F(SchedulerTimerTest, PeriodsCountFromTheStartMessageAndRepeat) {
  ASSERT_TRUE(SetInterval(2000, A, nullptr, nullptr));
  EXPECT_EQ(scheduler().state(), 0u);  // nothing armed before the loop turns
  platform::testing::AdvanceTickCount(50000);
  PumpMessages(0);
  EXPECT_EQ(scheduler().state(), CTimerDetail::kStarted | CTimerDetail::kSlowArmed);
  Advance(1000);
  EXPECT_TRUE(g_log.names.empty());
  Advance(1500);
  EXPECT_EQ(g_log.names, Names("A"));
  Advance(1000);
  Advance(1500);
  EXPECT_EQ(g_log.names, Names("AA"));
  // A duplicate leaves the first timer running as it was.
  EXPECT_FALSE(SetInterval(2000, A, nullptr, nullptr));
  Advance(2500);
  EXPECT_EQ(g_log.names, Names("AAA"));
}

TEST_F(SchedulerTimerTest, TheClockWrapsBetweenTwoTicks) {
  platform::testing::SetTickCount(0xFFFFFF00u);
  ASSERT_TRUE(SetInterval(1000, A, nullptr, nullptr));
  PumpMessages(0);
  Advance(500);
  EXPECT_TRUE(g_log.names.empty());
  Advance(700);  // past 2^32
  EXPECT_EQ(g_log.names, Names("A"));
}

TEST_F(SchedulerTimerTest, OneShotsLeaveTheirSlotBeforeTheCall) {
  std::vector<bool> results;
  g_log.onCall = [&](char, void* owner) {
    results.push_back(EraseTimerCallback(A, owner));
    results.push_back(SetTimeout(50, A, nullptr, owner));
  };
  ASSERT_TRUE(SetTimeout(50, A, nullptr, Owner(4)));
  PumpMessages(0);
  Advance(100);
  EXPECT_EQ(g_log.names, Names("A"));
  EXPECT_EQ(results, (std::vector<bool>{false, true}));
  g_log.onCall = nullptr;
  Advance(100);
  Advance(100);
  EXPECT_EQ(g_log.names, Names("AA"));
  EXPECT_EQ(scheduler().fastSlots().count(), 0u);

  // The last one-shot gone, the fast timer still runs until any erase.
  EXPECT_NE(scheduler().state() & CTimerDetail::kFastArmed, 0u);
  EXPECT_FALSE(EraseTimerCallback(C, nullptr));
  EXPECT_EQ(scheduler().state(), CTimerDetail::kStarted);
}

TEST_F(SchedulerTimerTest, ErasesFromInsideCallbacks) {
  // A erases itself, B and C; B was collected in the same tick (and is still
  // in its slot), C is a collected one-shot: neither is called.
  std::vector<bool> results;
  g_log.onCall = [&](char name, void*) {
    if (name != 'A')
      return;
    results.push_back(EraseTimerCallback(A, nullptr));
    results.push_back(EraseTimerCallback(B, nullptr));
    results.push_back(EraseTimerCallback(C, nullptr));
  };
  ASSERT_TRUE(SetInterval(50, A, nullptr, nullptr));
  ASSERT_TRUE(SetInterval(50, B, nullptr, nullptr));
  ASSERT_TRUE(SetTimeout(50, C, nullptr, nullptr));
  PumpMessages(0);
  Advance(100);
  Advance(100);
  EXPECT_EQ(g_log.names, Names("A"));
  EXPECT_EQ(results, (std::vector<bool>{true, true, false}));
  EXPECT_EQ(scheduler().dueCount(), 0u);
}

TEST_F(SchedulerTimerTest, NestedTicksCallEachCopyOnce) {
  bool pumped = false;
  g_log.onCall = [&](char name, void*) {
    if (name == 'A' && !pumped) {
      pumped = true;
      Advance(100);  // a tick inside the tick
    }
  };
  ASSERT_TRUE(SetInterval(50, A, nullptr, nullptr));
  ASSERT_TRUE(SetInterval(50, B, nullptr, nullptr));
  PumpMessages(0);
  Advance(100);
  // Outer A; the inner tick drains the outer B, then its own A and B; the
  // outer tick then has nothing left and must stop.
  EXPECT_EQ(g_log.names, Names("ABAB"));
  EXPECT_EQ(scheduler().dueCount(), 0u);
}

TEST_F(SchedulerTimerTest, AThrowingCallbackLeavesTheRestForTheNextTick) {
  MakeAThrow();
  ASSERT_TRUE(SetTimeout(50, A, nullptr, nullptr));
  ASSERT_TRUE(SetTimeout(50, B, nullptr, nullptr));
  PumpMessages(0);
  platform::testing::AdvanceTickCount(100);
  EXPECT_THROW(PumpMessages(0), std::runtime_error);
  EXPECT_EQ(scheduler().dueCount(), 1u);
  Advance(20);
  EXPECT_EQ(g_log.names, Names("AB"));
}

TEST_F(SchedulerTimerTest, LongTimersFireOnTheTwoSecondTick) {
  ASSERT_TRUE(SetTimeout(75000, A, nullptr, nullptr));
  ASSERT_TRUE(SetTimeout(75000, B, nullptr, nullptr));
  ASSERT_TRUE(SetInterval(80000, C, nullptr, nullptr));
  PumpMessages(0);
  Advance(76000);
  EXPECT_EQ(g_log.names, Names("AB"));
  ASSERT_EQ(scheduler().longTimers().size(), 1u);
  Advance(5000);
  EXPECT_EQ(g_log.names, Names("ABC"));
}

TEST_F(SchedulerTimerTest, TeardownDropsWhatIsDueWindowAndAll) {
  ASSERT_TRUE(SetInterval(50, A, nullptr, nullptr));
  ASSERT_TRUE(SetInterval(80000, B, nullptr, nullptr));
  PumpMessages(0);
  platform::testing::AdvanceTickCount(100000);
  DeleteScheduler();
  PumpMessages(0);
  EXPECT_TRUE(g_log.names.empty());
}

}  // namespace
}  // namespace base::test
