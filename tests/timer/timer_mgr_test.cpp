#include "timer/timer_mgr.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "base/message_loop.h"
#include "base/timer.h"
#include "lifecycle/singleton.h"
#include "platform/testing/clock_testing.h"
#include "support/wait_until.h"

namespace base {
namespace {

constexpr std::uint32_t kStart = 0x10000;

class TimerMgrTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::testing::FreezeTickCount(kStart);
    InitTimeCallback();
  }
  void TearDown() override {
    SingletonRegistry::TearDown();
    platform::testing::ResetTickCount();
  }

  // Moves the frozen tick on and runs one dispatch directly.
  static void Tick(std::uint32_t ms) {
    platform::testing::AdvanceTickCount(ms);
    TimerMgr::Instance()->OnTick();
  }
  // Moves the frozen tick on and lets the message loop deliver the timer.
  static unsigned Pump(std::uint32_t ms) {
    platform::testing::AdvanceTickCount(ms);
    return PumpMessages(0);
  }

  // A delegate that appends `name` to the log.
  Method<void()> Logs(std::string name) {
    return MakeMethod([this, name] { log_.push_back(name); });
  }

  std::vector<std::string> log_;
};

using Log = std::vector<std::string>;

// A target that reports its run and its deletion.
class Probe final : public MethodTarget {
 public:
  Probe(std::function<void()> onRun, std::function<void()> onDelete)
      : onRun_(std::move(onRun)), onDelete_(std::move(onDelete)) {}
  ~Probe() override { onDelete_(); }
  void Invoke() override { onRun_(); }

 private:
  std::function<void()> onRun_;
  std::function<void()> onDelete_;
};

// Singletons on either side of the timer manager in the registry.
template <std::int32_t Key>
class Neighbour final : public Singlton<Neighbour<Key>> {
 public:
  static inline std::function<void()> onFInit, onDestroy;
  ~Neighbour() override { onDestroy(); }
  void Init() override {}
  void FInit() override { onFInit(); }
  std::int32_t GetDestroyOrder() override { return Key; }
};

TEST_F(TimerMgrTest, RunsInDueOrderThenInOrderOfSetting) {
  SetTimeCallback(30, Logs("a"), 0);
  SetTimeCallback(10, Logs("b"), 0);
  SetTimeCallback(10, Logs("c"), 0);
  SetTimeCallback(20, Logs("d"), 0);
  SetTimeCallback(0, Logs("now"), 0);
  Tick(0);  // due exactly now is left for the next tick
  EXPECT_EQ(log_, Log{});
  Tick(1);
  EXPECT_EQ(log_, Log{"now"});
  Tick(30);
  EXPECT_EQ(log_, (Log{"now", "b", "c", "d", "a"}));
  Tick(1000);
  EXPECT_EQ(log_.size(), 5u);
}

TEST_F(TimerMgrTest, SettingAnIdAgainReplacesItsTimer) {
  SetTimeCallback(5000, Logs("a"), 7);
  SetTimeCallback(100, Logs("b"), 7);
  Tick(6000);
  EXPECT_EQ(log_, Log{"b"});
  EXPECT_FALSE(KillTimeCallback(7));  // the one-shot has run
}

TEST_F(TimerMgrTest, EmptyOrInvalidDelegatesCancelTheirId) {
  // An empty or invalid delegate cancels the id; with id 0 it does nothing.
  SetTimeCallback(-10, Logs("c"), 8);
  SetTimeCallback(100, Method<void()>(), 8);
  SetTimeCallback(-10, Logs("d"), 9);
  SetTimeCallback(100, MakeWeakMethod(std::weak_ptr<int>(), [](int&) {}), 9);
  SetTimeCallback(100, Method<void()>(), 0);
  Tick(500);
  EXPECT_EQ(log_, Log{});
  EXPECT_FALSE(KillTimeCallback(8));
  EXPECT_FALSE(KillTimeCallback(9));
  EXPECT_FALSE(KillTimeCallback(0));

  // A repeating delegate that turns invalid is dropped at its next due tick,
  // and its id is free again.
  auto owner = std::make_shared<int>(0);
  SetTimeCallback(
      -10, MakeWeakMethod(std::weak_ptr<int>(owner), [&](int&) { log_.push_back("w"); }), 10);
  Tick(11);
  owner.reset();
  Tick(10);
  EXPECT_EQ(log_, Log{"w"});
  EXPECT_FALSE(KillTimeCallback(10));
}

TEST_F(TimerMgrTest, ADelegateThatNeedsAnIdIsIgnoredWithoutOne) {
  SetTimeCallback(10, MakeMethodWithId([this] { log_.push_back("no id"); }), 0);
  SetTimeCallback(10, MakeMethodWithId([this] { log_.push_back("id"); }), 9);
  Tick(11);
  EXPECT_EQ(log_, Log{"id"});
}

TEST_F(TimerMgrTest, RepeatingTimerKeepsItsPhase) {
  SetTimeCallback(-1000, Logs("r"), 7);
  Tick(1000);
  EXPECT_EQ(log_.size(), 0u);
  Tick(1);  // kStart + 1001
  EXPECT_EQ(log_.size(), 1u);
  Tick(999);  // kStart + 2000: due exactly now, waits
  EXPECT_EQ(log_.size(), 1u);
  Tick(1);
  EXPECT_EQ(log_.size(), 2u);
  // Late by 450 ms: still due at kStart + 4000 next, not 450 ms later.
  Tick(1450);  // kStart + 3451
  EXPECT_EQ(log_.size(), 3u);
  Tick(549);  // kStart + 4000
  EXPECT_EQ(log_.size(), 3u);
  Tick(1);
  EXPECT_EQ(log_.size(), 4u);
  EXPECT_TRUE(KillTimeCallback(7));
  Tick(5000);
  EXPECT_EQ(log_.size(), 4u);
}

TEST_F(TimerMgrTest, MakesUpMissedPeriods) {
  SetTimeCallback(-20, Logs("r"), 1);
  Tick(21);
  ASSERT_EQ(log_.size(), 1u);
  // Held up 90 ms: due ticks 40, 60, 80, 100 have passed; all run now.
  Tick(90);  // 111
  EXPECT_EQ(log_.size(), 5u);

  // Held up 300 ms: the timer falls more than 100 ms behind and waits behind
  // the one-shot that is due, then makes up every period.
  log_.clear();
  SetTimeCallback(89, Logs("o"), 0);  // due at 200
  Tick(230);                          // 341; "r" is due at 120, 140, ..., 340
  ASSERT_GE(log_.size(), 2u);
  EXPECT_EQ(log_[0], "r");
  EXPECT_EQ(log_[1], "o");
  EXPECT_EQ(log_.size(), 13u);  // 12 periods and the one-shot
  Tick(19);                     // 360: due exactly now
  EXPECT_EQ(log_.size(), 13u);
}

TEST_F(TimerMgrTest, DispatchStopsAfterItsBudget) {
  SetTimeCallback(1, MakeMethod([this] {
                    log_.push_back("slow");
                    platform::testing::AdvanceTickCount(TimerMgr::kDispatchBudgetMs);
                  }),
                  0);
  SetTimeCallback(1, Logs("next"), 0);
  Tick(2);
  EXPECT_EQ(log_, Log{"slow"});
  Tick(0);
  EXPECT_EQ(log_, (Log{"slow", "next"}));
}

TEST_F(TimerMgrTest, TimersAcrossTheWrapOfTheClock) {
  platform::testing::FreezeTickCount(0xFFFFFFF0u);
  SetTimeCallback(0x30, Logs("late"), 0);   // due 0x20
  SetTimeCallback(0x15, Logs("early"), 0);  // due 0x05, past the wrap
  SetTimeCallback(-8, Logs("r"), 3);        // 0xFFFFFFF8, 0x0, 0x8, ...
  Tick(0x9);                                // 0xFFFFFFF9
  EXPECT_EQ(log_, Log{"r"});
  Tick(0xD);  // 0x06
  EXPECT_EQ(log_, (Log{"r", "r", "early"}));
  // At 0x20 both are due; "late" was set first.
  Tick(0x1B);  // 0x21
  EXPECT_EQ(log_, (Log{"r", "r", "early", "r", "r", "r", "late", "r"}));
}

TEST_F(TimerMgrTest, DelegatesKillAndResetTheirOwnIds) {
  bool killedSelf = true;
  SetTimeCallback(-10, MakeMethod([&] {
    log_.push_back("repeat");
    killedSelf = KillTimeCallback(7);
  }),
                  7);
  bool killedOneShot = true;
  SetTimeCallback(10, MakeMethod([&] { killedOneShot = KillTimeCallback(8); }), 8);
  int resets = 0;
  std::function<void()> reset = [&] {
    ++resets;
    SetTimeCallback(-10, MakeMethod(reset), 9);
  };
  SetTimeCallback(-10, MakeMethod(reset), 9);
  Tick(11);
  Tick(11);
  EXPECT_EQ(log_, Log{"repeat"});
  EXPECT_TRUE(killedSelf);
  EXPECT_FALSE(killedOneShot);
  EXPECT_EQ(resets, 2);
  EXPECT_TRUE(KillTimeCallback(9));  // exactly one record under id 9
  EXPECT_FALSE(KillTimeCallback(9));
}

TEST_F(TimerMgrTest, ExceptionFromDelegateLeavesTheRestScheduled) {
  SetTimeCallback(5, MakeMethod([] { throw std::runtime_error("delegate"); }), 0);
  SetTimeCallback(-5, Logs("r"), 2);
  EXPECT_THROW(Tick(6), std::runtime_error);
  Tick(0);
  EXPECT_EQ(log_, Log{"r"});
  EXPECT_TRUE(KillTimeCallback(2));
}

// One-shots without an id are taken out together; records with an id between
// them still run in their turn, and a kill from a run still holds.
TEST_F(TimerMgrTest, OneShotsWithoutAnIdKeepTheirTurnAmongTheRest) {
  bool killed = false;
  SetTimeCallback(5, MakeMethod([&] {
                    log_.push_back("a");
                    killed = KillTimeCallback(7);
                  }),
                  0);
  SetTimeCallback(5, Logs("killed"), 7);
  SetTimeCallback(5, Logs("b"), 0);
  SetTimeCallback(5, Logs("c"), 8);
  SetTimeCallback(5, Logs("d"), 0);
  SetTimeCallback(-5, Logs("r"), 9);
  SetTimeCallback(5, Logs("e"), 0);
  Tick(6);
  EXPECT_TRUE(killed);
  EXPECT_EQ(log_, (Log{"a", "b", "c", "d", "r", "e"}));
  EXPECT_TRUE(KillTimeCallback(9));
}

// What a throw leaves of one-shots taken out together runs at the next timer
// message: the platform timer stays armed for them.
TEST_F(TimerMgrTest, ExceptionAmongOneShotsWithoutAnIdLeavesTheRestToTheNextTick) {
  SetTimeCallback(5, MakeMethod([] { throw std::runtime_error("delegate"); }), 0);
  SetTimeCallback(5, Logs("a"), 0);
  SetTimeCallback(5, Logs("b"), 0);
  EXPECT_THROW(Pump(10), std::runtime_error);
  EXPECT_EQ(log_, Log{});
  EXPECT_EQ(Pump(10), 1u);
  EXPECT_EQ(log_, (Log{"a", "b"}));
  EXPECT_EQ(Pump(100), 0u);  // and stops once they have run
}

TEST_F(TimerMgrTest, NestedDispatchFromADelegateThatPumps) {
  SetTimeCallback(5, MakeMethod([this] {
                    log_.push_back("outer");
                    // The platform timer comes due again inside this run.
                    Pump(TimerMgr::kTimerPeriodMs);
                    log_.push_back("outer done");
                  }),
                  0);
  SetTimeCallback(5, Logs("inner"), 0);
  Pump(10);
  EXPECT_EQ(log_, (Log{"outer", "inner", "outer done"}));
}

TEST_F(TimerMgrTest, PlatformTimerStopsWithTheLastRecord) {
  SetTimeCallback(5, Logs("a"), 0);
  EXPECT_EQ(Pump(10), 1u);
  EXPECT_EQ(log_, Log{"a"});
  EXPECT_EQ(Pump(100), 0u);  // no timer message any more

  SetTimeCallback(10, Logs("b"), 4);
  EXPECT_TRUE(KillTimeCallback(4));
  EXPECT_EQ(Pump(100), 0u);
}

TEST_F(TimerMgrTest, PlatformTimerIsRearmedFromAnyThread) {
  std::thread([this] { SetTimeCallback(5, Logs("c"), 0); }).join();
  EXPECT_EQ(Pump(10), 1u);
  EXPECT_EQ(log_, Log{"c"});
}

TEST_F(TimerMgrTest, TimersOfAThreadThatEndedAreFiledButNeverRun) {
  SingletonRegistry::TearDown();
  std::thread([] { InitTimeCallback(); }).join();  // its window went with it
  SetTimeCallback(5, Logs("never"), 3);
  SetTimeCallback(-5, Logs("never either"), 4);
  EXPECT_EQ(Pump(100), 0u);
  EXPECT_EQ(log_, Log{});
  EXPECT_TRUE(KillTimeCallback(4));  // the calls themselves still succeed
}

TEST_F(TimerMgrTest, ThreadsSetAndKillWhileTheMainThreadDispatches) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 400;
  std::atomic<int> oneShots{0};
  std::atomic<int> finished{0};
  std::vector<std::thread> workers;
  for (int t = 0; t < kThreads; ++t) {
    workers.emplace_back([&, t] {
      const std::uint32_t firstId = 1000 * (t + 1);
      for (int i = 0; i < kRounds; ++i) {
        const std::uint32_t id = firstId + i % 32;
        SetTimeCallback(-1 - i % 7, MakeMethod([] {}), id);
        SetTimeCallback(i % 3, MakeMethod([&] { ++oneShots; }), 0);
        if (i % 2 != 0)
          KillTimeCallback(id);
      }
      for (std::uint32_t id = firstId; id < firstId + 32; ++id)
        KillTimeCallback(id);
      ++finished;
    });
  }
  // The workers finish without the main thread; it only dispatches meanwhile.
  EXPECT_TRUE(testing::WaitUntil(
      [&] {
        Pump(10);
        return finished == kThreads;
      },
      "the workers to finish setting and killing"));
  for (std::thread& w : workers)
    w.join();
  Pump(10);
  EXPECT_EQ(oneShots, kThreads * kRounds);
  EXPECT_EQ(Pump(100), 0u);  // nothing left, so the platform timer stopped
}

TEST_F(TimerMgrTest, LastCopyOfADelegateMayGoOnAnotherThread) {
  std::thread::id ranOn;
  std::thread::id deletedOn;
  auto hostCopy =
      std::make_unique<Method<void()>>(new Probe([&] { ranOn = std::this_thread::get_id(); },
                                                 [&] { deletedOn = std::this_thread::get_id(); }));
  SetTimeCallback(5, *hostCopy, 0);
  Pump(10);
  EXPECT_EQ(ranOn, std::this_thread::get_id());
  EXPECT_EQ(deletedOn, std::thread::id());  // the library kept no copy
  std::thread::id workerId;
  std::thread worker([&workerId, copy = std::move(hostCopy)]() mutable {
    workerId = std::this_thread::get_id();
    copy.reset();
  });
  worker.join();
  EXPECT_EQ(deletedOn, workerId);
}

TEST_F(TimerMgrTest, TornDownInTheRegistryOrderWithoutRunningDelegates) {
  // First use: the manager (in SetUp), then key 1, then key -1.
  Log order;
  bool aliveInFirstPass = false;
  bool aliveBeforeItsTurn = false;
  bool aliveAfterItsTurn = true;
  Neighbour<1>::onFInit = [&] {
    order.push_back("F+1");
    aliveInFirstPass = KillTimeCallback(8);
  };
  Neighbour<1>::onDestroy = [&] {
    order.push_back("D+1");
    aliveAfterItsTurn = KillTimeCallback(9);
  };
  Neighbour<-1>::onFInit = [&] { order.push_back("F-1"); };
  Neighbour<-1>::onDestroy = [&] {
    order.push_back("D-1");
    aliveBeforeItsTurn = KillTimeCallback(7);
  };
  Neighbour<1>::Instance();
  Neighbour<-1>::Instance();
  for (std::uint32_t id : {7u, 8u, 9u}) {
    SetTimeCallback(
        -10,
        Method<void()>(new Probe([&] { order.push_back("ran"); },
                                 [&, id] { order.push_back("drop" + std::to_string(id)); })),
        id);
  }
  SingletonRegistry::TearDown();
  EXPECT_EQ(order, (Log{"F-1", "F+1", "drop8", "D-1", "drop7", "drop9", "D+1"}));
  EXPECT_TRUE(aliveInFirstPass);
  EXPECT_TRUE(aliveBeforeItsTurn);
  EXPECT_FALSE(aliveAfterItsTurn);
  EXPECT_EQ(Pump(100), 0u);  // the window and its timer are gone
}

}  // namespace
}  // namespace base
