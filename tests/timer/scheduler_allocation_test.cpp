// What a scheduler timer add allocates: nothing, unless it grows a table, and
// a growth that finds no memory refuses the add with the table as it was.
// Its own binary: it replaces the global operator new.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "base/timer.h"
#include "scheduler_test_support.h"

namespace {

// While counting, each allocation is counted; while failing, it fails too.
std::atomic<bool> g_counting{false};
std::atomic<bool> g_failing{false};
std::atomic<long> g_allocations{0};

void* Allocate(std::size_t size) noexcept {
  if (g_counting.load()) {
    ++g_allocations;
    if (g_failing.load())
      return nullptr;
  }
  return std::malloc(size != 0 ? size : 1);
}

void* AllocateOrThrow(std::size_t size) {
  void* block = Allocate(size);
  if (block == nullptr)
    throw std::bad_alloc();
  return block;
}

}  // namespace

void* operator new(std::size_t size) {
  return AllocateOrThrow(size);
}
void* operator new[](std::size_t size) {
  return AllocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete[](void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  std::free(block);
}

namespace base::test {
namespace {

// Counts (and with `fail`, fails) the allocations of one scope.
class AllocationScope {
 public:
  explicit AllocationScope(bool fail = false) {
    g_allocations = 0;
    g_failing = fail;
    g_counting = true;
  }
  ~AllocationScope() { Stop(); }
  AllocationScope(const AllocationScope&) = delete;
  AllocationScope& operator=(const AllocationScope&) = delete;

  long Stop() {
    g_counting = false;
    g_failing = false;
    return g_allocations.load();
  }
};

class SchedulerAllocationTest : public SchedulerTest {
 protected:
  void SetUp() override {
    SchedulerTest::SetUp();
    // Started, with every class's platform timer armed: from here on an add
    // has no reason to allocate but a table's growth.
    ASSERT_TRUE(SetInterval(10, A, nullptr, Owner(1)));
    ASSERT_TRUE(SetInterval(1000, A, nullptr, Owner(1)));
    ASSERT_TRUE(SetInterval(100000, A, nullptr, Owner(1)));
    PumpMessages(0);
    ASSERT_EQ(scheduler().state(), CTimerDetail::kStarted | CTimerDetail::kFastArmed |
                                       CTimerDetail::kSlowArmed | CTimerDetail::kLongArmed);
  }

  // Fills the fast table to its 1024 slots, one function under many owners.
  static void FillFastTable() {
    for (std::uintptr_t n = 2; n <= 1024; ++n)
      ASSERT_TRUE(SetInterval(10, B, nullptr, Owner(n)));
    ASSERT_EQ(scheduler().fastSlots().count(), 1024u);
    ASSERT_EQ(scheduler().fastSlots().capacity(), 1024u);
  }
};

TEST_F(SchedulerAllocationTest, AddsAndErasesAllocateNothingUntilATableGrows) {
  AllocationScope scope;
  FillFastTable();
  for (std::uintptr_t n = 2; n <= 1024; ++n)
    ASSERT_TRUE(SetTimeout(5000, C, nullptr, Owner(n)));  // the slow table
  ASSERT_TRUE(EraseTimerCallback(B, Owner(500)));
  ASSERT_FALSE(SetInterval(10, B, nullptr, nullptr));  // a duplicate
  ASSERT_TRUE(SetInterval(10, C, nullptr, nullptr));   // takes the freed slot
  ASSERT_TRUE(EraseTimerCallback(C, nullptr));         // from both tables
  ASSERT_TRUE(SetInterval(10, C, nullptr, nullptr));
  EXPECT_EQ(scope.Stop(), 0);

  // The 1025th grows the table, even for an add then refused as a duplicate.
  AllocationScope growth;
  ASSERT_FALSE(SetInterval(10, B, nullptr, nullptr));
  EXPECT_GT(growth.Stop(), 0);
  EXPECT_EQ(scheduler().fastSlots().capacity(), 2048u);
}

TEST_F(SchedulerAllocationTest, AGrowthWithoutMemoryRefusesTheAddAndChangesNothing) {
  FillFastTable();
  {
    AllocationScope noMemory(/*fail=*/true);
    EXPECT_FALSE(SetInterval(10, C, nullptr, Owner(1)));
    EXPECT_FALSE(SetTimeout(0, C, nullptr, nullptr));
  }
  const SlotTable& fast = scheduler().fastSlots();
  EXPECT_EQ(fast.capacity(), 1024u);
  EXPECT_EQ(fast.count(), 1024u);
  EXPECT_FALSE(EraseTimerCallback(C, nullptr));  // the refused adds left no trace
  // Every timer still fires, once each.
  Advance(20);
  EXPECT_EQ(g_log.names.size(), 1024u);

  // With memory back, the same add grows the table and keeps every slot.
  ASSERT_TRUE(SetInterval(10, C, nullptr, Owner(1)));
  EXPECT_EQ(fast.capacity(), 2048u);
  EXPECT_EQ(fast.record(1024).callback, C);
  EXPECT_EQ(fast.record(1023).owner, Owner(1024));
}

TEST_F(SchedulerAllocationTest, ACompactionWithoutMemoryIsSkippedAndTheAddGoesOn) {
  FillFastTable();
  ASSERT_TRUE(SetInterval(10, C, nullptr, nullptr));  // grows to 2048
  ASSERT_TRUE(EraseTimerCallback(B, nullptr));        // 2 live of 2048
  {
    AllocationScope noMemory(/*fail=*/true);
    EXPECT_TRUE(SetInterval(10, B, nullptr, Owner(5)));
  }
  EXPECT_EQ(scheduler().fastSlots().capacity(), 2048u);
  EXPECT_EQ(scheduler().fastSlots().record(1).owner,
            Owner(5));  // lowest free slot of the old table
  ASSERT_TRUE(SetInterval(10, B, nullptr, Owner(6)));
  EXPECT_EQ(scheduler().fastSlots().capacity(), 1024u);
}

}  // namespace
}  // namespace base::test
