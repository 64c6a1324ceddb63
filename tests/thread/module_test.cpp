// Facts of a fresh load of the library, and an unload right after the stop of
// all tasks, on the library's objects loaded as a module of their own.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>

#include "support/test_module.h"

namespace {

class Module : public base::testing::TestModule {
 public:
  Module() : TestModule(BASE_THREAD_MODULE_PATH) {}
};

TEST(ThreadModuleTest, FreshLoadNumbersTasksFromOneAndFlagsFollowTheOsVersion) {
  {
    Module module;
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    module.Call<void, std::uint32_t*, std::uint32_t*>("BaseTestFirstIds", &first, &second);
    EXPECT_EQ(first, 1u);
    EXPECT_EQ(second, 2u);
  }
  const struct {
    int major;
    std::uint32_t flags;
  } cases[] = {{5, 0x10}, {6, 0}, {10, 0}, {-1, 0x10}};
  for (const auto& c : cases) {
    Module module;
    const std::uint32_t flags = module.Call<std::uint32_t, int>("BaseTestQueueFlagsFor", c.major);
    EXPECT_EQ(flags, c.flags) << "major version " << c.major;
  }
}

std::atomic<int> g_freed{0};
void OnFreed() {
  g_freed.fetch_add(1);
}

// Workers may still be leaving a run (map, reference, freeing the delegate)
// when the stop returns; the unload must wait for them before the map and the
// code go.
TEST(ThreadModuleTest, UnloadRightAfterTheStopWaitsForWorkersStillLeavingARun) {
  constexpr int kTasks = 50;
  for (int round = 0; round < 10; ++round) {
    g_freed = 0;
    Module module;
    module.Call<void, int, void (*)()>("BaseTestPostAndStop", kTasks, &OnFreed);
    module.Unload();
    EXPECT_EQ(g_freed.load(), kTasks);
  }
}

}  // namespace
