#include "lifecycle/singleton.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace base {
namespace {

std::vector<std::string> g_log;

// A singleton that logs its hooks as "<hook><tag>" and runs optional actions.
template <std::int32_t Key, char Tag>
class Tracked : public Singlton<Tracked<Key, Tag>> {
 public:
  static inline std::function<void()> onInit, onFInit, onDestroy;
  static inline int constructorFailures = 0;

  Tracked() {
    if (constructorFailures > 0) {
      --constructorFailures;
      throw std::runtime_error("construction failed");
    }
  }
  ~Tracked() override {
    g_log.push_back(std::string("D") + Tag);
    if (onDestroy)
      onDestroy();
  }
  void Init() override {
    if (onInit)
      onInit();
  }
  void FInit() override {
    g_log.push_back(std::string("F") + Tag);
    if (onFInit)
      onFInit();
  }
  std::int32_t GetDestroyOrder() override { return Key; }

  static void ResetHooks() {
    onInit = onFInit = onDestroy = nullptr;
    constructorFailures = 0;
  }
};

using Minus = Tracked<-1, 'm'>;
using ZeroA = Tracked<0, 'a'>;
using ZeroB = Tracked<0, 'b'>;
using Plus = Tracked<1, 'p'>;

class SingletonTest : public ::testing::Test {
 protected:
  void TearDown() override {
    SingletonRegistry::TearDown();
    g_log.clear();
    Minus::ResetHooks();
    ZeroA::ResetHooks();
    ZeroB::ResetHooks();
    Plus::ResetHooks();
  }
};

TEST_F(SingletonTest, TornDownInTwoPassesByKeyThenFirstUse) {
  // Order of first use differs from the order of the keys on purpose.
  Plus* plus = Plus::Instance();
  ZeroB::Instance();
  Minus::Instance();
  ZeroA::Instance();

  bool plusReachable = false;
  ZeroA::onFInit = [&] { plusReachable = Plus::Instance() == plus; };
  bool minusGoneBeforePlus = false;
  Plus::onDestroy = [&] { minusGoneBeforePlus = Minus::Instance() == nullptr; };

  SingletonRegistry::TearDown();
  EXPECT_EQ(g_log, (std::vector<std::string>{"Fm", "Fb", "Fa", "Fp", "Dm", "Db", "Da", "Dp"}));
  EXPECT_TRUE(plusReachable);  // first pass: everything still exists
  EXPECT_TRUE(minusGoneBeforePlus);

  // A second teardown finds no registry; a new first use starts afresh.
  g_log.clear();
  SingletonRegistry::TearDown();
  EXPECT_TRUE(g_log.empty());
  EXPECT_NE(ZeroA::Instance(), nullptr);
}

TEST_F(SingletonTest, InstanceIsMadeOnceAndReachableFromInit) {
  ZeroA* seenInInit = nullptr;
  ZeroA::onInit = [&] { seenInInit = ZeroA::Instance(); };
  ZeroA* first = ZeroA::Instance();
  EXPECT_EQ(seenInInit, first);
  EXPECT_EQ(ZeroA::Instance(), first);
  EXPECT_EQ(ZeroA::Instance(), first);

  SingletonRegistry::TearDown();
  EXPECT_EQ(g_log, (std::vector<std::string>{"Fa", "Da"}));  // one entry only
}

TEST_F(SingletonTest, FailedConstructionRegistersNothingAndIsRetried) {
  ZeroB::constructorFailures = 1;
  EXPECT_THROW(ZeroB::Instance(), std::runtime_error);
  ZeroB* made = ZeroB::Instance();
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(ZeroB::Instance(), made);

  SingletonRegistry::TearDown();
  EXPECT_EQ(g_log, (std::vector<std::string>{"Fb", "Db"}));
}

TEST_F(SingletonTest, NothingIsMadeWhileTearingDown) {
  ZeroA::Instance();
  Plus* madeLate = reinterpret_cast<Plus*>(1);
  ZeroA::onFInit = [&] { madeLate = Plus::Instance(); };
  SingletonRegistry::TearDown();
  EXPECT_EQ(madeLate, nullptr);
  EXPECT_EQ(g_log, (std::vector<std::string>{"Fa", "Da"}));
}

TEST_F(SingletonTest, ExceptionOutOfTeardownEndsItAndFreesTheRegistry) {
  using Failing = Tracked<0, 'x'>;
  using Behind = Tracked<0, 'y'>;
  Failing::Instance();
  Behind::Instance();
  Failing::onFInit = [] { throw std::runtime_error("finalise failed"); };
  EXPECT_THROW(SingletonRegistry::TearDown(), std::runtime_error);
  EXPECT_EQ(g_log, (std::vector<std::string>{"Fx"}));
  EXPECT_FALSE(SingletonRegistry::IsTearingDown());

  // Both instances survived without an entry; register them again to end them.
  Failing::ResetHooks();
  Failing::Instance()->RegisterDestroy(0);
  Behind::Instance()->RegisterDestroy(0);
}

// The registry must reach the exit table by itself: end a child process and
// see the two passes run there.
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
