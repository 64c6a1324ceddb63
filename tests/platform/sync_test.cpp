#include "platform/sync.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/thread.h"

namespace base::platform {
namespace {

TEST(SyncTest, CriticalSectionIsRecursiveAndExcludesOtherThreads) {
  CriticalSection section;
  long counter = 0;
  volatile LONG interlocked = 0;
  auto work = [&] {
    for (int i = 0; i < 2000; ++i) {
      ScopedCriticalSection outer(section);
      ScopedCriticalSection inner(section);  // the owner enters again
      ++counter;
      InterlockedIncrement(&interlocked);
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back(work);
  for (auto& thread : threads)
    thread.join();
  EXPECT_EQ(counter, 8000);
  EXPECT_EQ(interlocked, 8000);
  EXPECT_EQ(InterlockedDecrement(&interlocked), 7999);
}

TEST(SyncTest, ThreadIdsAreNonZeroAndDistinct) {
  const std::uint32_t mine = CurrentThreadId();
  std::uint32_t other = 0;
  std::thread([&] { other = CurrentThreadId(); }).join();
  EXPECT_NE(mine, 0u);
  EXPECT_NE(other, 0u);
  EXPECT_NE(mine, other);
  EXPECT_EQ(CurrentThreadId(), mine);
}

}  // namespace
}  // namespace base::platform
