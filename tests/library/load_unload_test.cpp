// Loading and unloading the library: what exists after a load, in which order
// the exit table takes things down at dlclose, and that a load after an unload
// starts afresh. The library's objects are loaded as a module of their own
// (see lifecycle_module.cpp), on the test's main thread as a host would.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/test_module.h"

namespace {

std::vector<std::string> g_teardown;
int g_exitCallbacksRun = 0;

void RecordTeardown(const char* what) {
  g_teardown.push_back(what);
}

void CountExitCallback(void*) {
  ++g_exitCallbacksRun;
}

class Module : public base::testing::TestModule {
 public:
  Module() : TestModule(BASE_LIFECYCLE_MODULE_PATH) {}
};

TEST(LoadUnloadTest, NothingIsMadeWithoutACallAndUnfiredExitCallbacksAreDropped) {
  Module idle;
  EXPECT_EQ(idle.Call<unsigned>("BaseTestExitTableEntries"), 0u);
  idle.Unload();

  g_exitCallbacksRun = 0;
  Module module;
  module.Call<void>("BaseTestAddExitCallbacks", &CountExitCallback);
  EXPECT_EQ(module.Call<unsigned>("BaseTestExitTableEntries"), 0u);
  module.Unload();
  EXPECT_EQ(g_exitCallbacksRun, 0);
}

TEST(LoadUnloadTest, TheTimerMadeLastIsDestroyedFirst) {
  const struct {
    const char* first;
    const char* second;
  } orders[] = {{"BaseTestStartCallbackTimers", "BaseTestStartScheduler"},
                {"BaseTestStartScheduler", "BaseTestStartCallbackTimers"}};
  for (const auto& order : orders) {
    Module module;
    module.Call<void>(order.first);
    module.Call<void>(order.second);
    // The singleton registry and the scheduler each add one entry.
    EXPECT_EQ(module.Call<unsigned>("BaseTestExitTableEntries"), 2u);
    g_teardown.clear();
    module.Call<void>("BaseTestReportTeardown", &RecordTeardown);
    module.Unload();
    const bool schedulerLast = std::string(order.second) == "BaseTestStartScheduler";
    const std::vector<std::string> expected =
        schedulerLast ? std::vector<std::string>{"scheduler", "callback timers"}
                      : std::vector<std::string>{"callback timers", "scheduler"};
    EXPECT_EQ(g_teardown, expected) << order.first << " then " << order.second;
  }
}

TEST(LoadUnloadTest, EachLoadStartsAfresh) {
  for (int round = 0; round < 3; ++round) {
    Module module;
    const int* map = module.Call<const int*>("BaseTestCodePageMap", 1252);
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(module.Call<int>("BaseTestCodePagePair", 936, '\xB0', '\xA1'), 0x554A);
    EXPECT_EQ(module.Call<unsigned>("BaseTestFirstHandle"), 0xFFFFu) << "round " << round;
    EXPECT_EQ(module.Call<std::uint32_t>("BaseTestRunOneTask"), 1u) << "round " << round;
    // A map stays valid until the unload (which frees it and the pair
    // tables: asan would see a leak otherwise).
    EXPECT_EQ(map[0x80], 0x20AC);
    EXPECT_EQ(map['A'], 'A');
    module.Unload();
  }
}

}  // namespace
