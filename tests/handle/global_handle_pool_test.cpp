#include "handle/global_handle_pool.h"

#include <gtest/gtest.h>

#include "base/handle_pool.h"
#include "lifecycle/singleton.h"

namespace base {
namespace {

int g_object;

// Each test starts as after a fresh load: no pool yet.
class GlobalHandlePoolTest : public ::testing::Test {
 protected:
  void SetUp() override { SingletonRegistry::TearDown(); }
  void TearDown() override { SingletonRegistry::TearDown(); }
};

TEST_F(GlobalHandlePoolTest, FirstCallOfAnyExportMakesThePool) {
  st_handle_entry e{9, &g_object, 9};
  EXPECT_EQ(GlobalHandleGetEntry(65535, &e), HandleResultOk);
  EXPECT_EQ(e.state, HandleStateNew);
  EXPECT_EQ(e.object, nullptr);
  EXPECT_EQ(e.reserved, 0u);

  SingletonRegistry::TearDown();
  GlobalHandleCloseHandle(65535);
  SingletonRegistry::TearDown();
  GlobalHandleDisableHandle(65535);

  unsigned int h = 0;
  EXPECT_EQ(GlobalHandleAllocateHandle(&g_object, &h), HandleResultOk);
  EXPECT_EQ(h, 65535u);  // the close and disable above changed nothing
  EXPECT_EQ(GlobalHandleGetEntry(h, &e), HandleResultOk);
  EXPECT_EQ(e.state, HandleStateValid);
  EXPECT_EQ(e.object, &g_object);
  GlobalHandleDisableHandle(h);
  GlobalHandleCloseHandle(h);
  EXPECT_EQ(GlobalHandleGetEntry(h, &e), HandleResultOk);
  EXPECT_EQ(e.state, HandleStateClosed);
}

// Finalised after the pool (key 1), it sees the pool between the two passes.
class LateObserver : public Singlton<LateObserver> {
 public:
  static inline unsigned int allocateResult, getResult, handleAfter;
  static inline st_handle_entry entryAfter;

  void Init() override {}
  std::int32_t GetDestroyOrder() override { return 1; }
  void FInit() override {
    handleAfter = 0xDEAD;
    allocateResult = GlobalHandleAllocateHandle(&g_object, &handleAfter);
    entryAfter = st_handle_entry{9, &g_object, 9};
    getResult = GlobalHandleGetEntry(65535, &entryAfter);
    GlobalHandleDisableHandle(65535);
    GlobalHandleCloseHandle(65535);
  }
};

TEST_F(GlobalHandlePoolTest, ExportsFindNoPoolBetweenTheTeardownPasses) {
  LateObserver::Instance();  // made first, torn down after the pool anyway
  unsigned int h = 0;
  ASSERT_EQ(GlobalHandleAllocateHandle(&g_object, &h), HandleResultOk);

  SingletonRegistry::TearDown();
  EXPECT_EQ(LateObserver::allocateResult, HandleResultNoPool);
  EXPECT_EQ(LateObserver::handleAfter, 0xDEADu);
  EXPECT_EQ(LateObserver::getResult, HandleResultNoPool);
  EXPECT_EQ(LateObserver::entryAfter.state, 9u);

  // A new first use gives a new pool that starts from the first number.
  EXPECT_EQ(GlobalHandleAllocateHandle(&g_object, &h), HandleResultOk);
  EXPECT_EQ(h, 65535u);
}

}  // namespace
}  // namespace base
