#include "lifecycle/singleton.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>

namespace base {
namespace {

std::string g_log;

// Logs its teardown hooks as "F<tag>" and "D<tag>" and runs optional actions.
template <std::int32_t Key, char Tag>
struct Tracked : Singlton<Tracked<Key, Tag>> {
  static inline std::function<void()> onInit, onFInit, onDestroy;
  static inline bool failConstruction = false;

  Tracked() {
    if (std::exchange(failConstruction, false))
      throw std::runtime_error("construction failed");
  }
  ~Tracked() override {
    g_log += std::string("D") + Tag;
    if (onDestroy)
      onDestroy();
  }
  void Init() override {
    if (onInit)
      onInit();
  }
  void FInit() override {
    g_log += std::string("F") + Tag;
    if (onFInit)
      onFInit();
  }
  std::int32_t GetDestroyOrder() override { return Key; }
};

using Minus = Tracked<-1, 'm'>;
using ZeroA = Tracked<0, 'a'>;
using ZeroB = Tracked<0, 'b'>;
using Plus = Tracked<1, 'p'>;

TEST(SingletonTest, TornDownInTwoPassesByKeyThenFirstUse) {
  g_log.clear();
  Plus* plus = Plus::Instance();  // first use differs from the key order
  ZeroB::Instance();
  Minus::Instance();
  ZeroA::Instance();
  EXPECT_EQ(ZeroA::Instance(), ZeroA::Instance());

  bool plusReachable = false, minusGone = false, nothingMadeLate = false;
  ZeroA::onFInit = [&] {
    plusReachable = Plus::Instance() == plus;
    nothingMadeLate = Tracked<0, 'z'>::Instance() == nullptr;
  };
  Plus::onDestroy = [&] { minusGone = Minus::Instance() == nullptr; };
  SingletonRegistry::TearDown();
  EXPECT_EQ(g_log, "FmFbFaFpDmDbDaDp");
  EXPECT_TRUE(plusReachable);  // first pass: every singleton still exists
  EXPECT_TRUE(minusGone);
  EXPECT_TRUE(nothingMadeLate);
  ZeroA::onFInit = Plus::onDestroy = nullptr;
}

TEST(SingletonTest, MadeOnceReachableFromInitAndRetriedAfterFailure) {
  ZeroB::failConstruction = true;
  EXPECT_THROW(ZeroB::Instance(), std::runtime_error);
  ZeroB* seenInInit = nullptr;
  ZeroB::onInit = [&] { seenInInit = ZeroB::Instance(); };
  ZeroB* made = ZeroB::Instance();
  ZeroB::onInit = nullptr;
  EXPECT_EQ(seenInInit, made);
  EXPECT_EQ(ZeroB::Instance(), made);

  g_log.clear();
  SingletonRegistry::TearDown();
  EXPECT_EQ(g_log, "FbDb");  // one entry, none for the failed attempt
}

TEST(SingletonTest, ExceptionOutOfTeardownEndsItAndFreesTheRegistry) {
  using Failing = Tracked<0, 'x'>;
  Failing::Instance();
  Failing::onFInit = [] { throw std::runtime_error("finalise failed"); };
  g_log.clear();
  EXPECT_THROW(SingletonRegistry::TearDown(), std::runtime_error);
  EXPECT_EQ(g_log, "Fx");
  EXPECT_FALSE(SingletonRegistry::IsTearingDown());

  // The instance survived without an entry; register it again to end it.
  Failing::onFInit = nullptr;
  Failing::Instance()->RegisterDestroy(0);
  SingletonRegistry::TearDown();
}

// The registry must reach the exit table by itself: end a child process.
TEST(SingletonExitTest, TeardownRunsFromTheExitTable) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        Minus::onFInit = [] { std::fputs("finalised ", stderr); };
        Minus::onDestroy = [] { std::fputs("destroyed", stderr); };
        Minus::Instance();
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "finalised destroyed");
}

}  // namespace
}  // namespace base
