#include "handle/global_handle_pool.h"

#include <gtest/gtest.h>

#include "base/handle_pool.h"
#include "lifecycle/singleton.h"

namespace base {
namespace {

int g_object;

// Finalised after the pool (key 1): sees what the exports do between passes.
struct LateObserver : Singlton<LateObserver> {
  static inline unsigned int allocateResult, getResult, handle;
  static inline st_handle_entry entry;

  void Init() override {}
  std::int32_t GetDestroyOrder() override { return 1; }
  void FInit() override {
    handle = 0xDEAD;
    allocateResult = GlobalHandleAllocateHandle(&g_object, &handle);
    entry = st_handle_entry{9, &g_object, 9};
    getResult = GlobalHandleGetEntry(65535, &entry);
    GlobalHandleDisableHandle(65535);
    GlobalHandleCloseHandle(65535);
  }
};

TEST(GlobalHandlePoolTest, MadeAtFirstCallAndGoneAfterTheFirstPass) {
  SingletonRegistry::TearDown();  // as after a fresh load
  GlobalHandleCloseHandle(65535);
  GlobalHandleDisableHandle(65535);
  st_handle_entry e{9, &g_object, 9};
  EXPECT_EQ(GlobalHandleGetEntry(65535, &e), HandleResultOk);
  EXPECT_EQ(e.state, HandleStateNew);
  EXPECT_EQ(e.object, nullptr);

  LateObserver::Instance();  // made after the pool, torn down after it by key
  unsigned int h = 0;
  EXPECT_EQ(GlobalHandleAllocateHandle(&g_object, &h), HandleResultOk);
  EXPECT_EQ(h, 65535u);

  SingletonRegistry::TearDown();
  EXPECT_EQ(LateObserver::allocateResult, HandleResultNoPool);
  EXPECT_EQ(LateObserver::handle, 0xDEADu);
  EXPECT_EQ(LateObserver::getResult, HandleResultNoPool);
  EXPECT_EQ(LateObserver::entry.state, 9u);

  EXPECT_EQ(GlobalHandleAllocateHandle(&g_object, &h), HandleResultOk);
  EXPECT_EQ(h, 65535u);  // a new pool after a new first use
  SingletonRegistry::TearDown();
}

}  // namespace
}  // namespace base
