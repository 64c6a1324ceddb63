#include "timer/slot_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

namespace base {
namespace {

void F(void*, void*) {}
void G(void*, void*) {}
// More functions, told apart by what they do so that none is folded into
// another: the index by function then holds many keys.
volatile int g_sink;
template <int N>
void H(void*, void*) {
  g_sink = N;
}

void* Owner(std::uintptr_t n) {
  return reinterpret_cast<void*>(n);
}

TimerRecord Make(SchedulerCallback callback, std::uintptr_t owner) {
  return TimerRecord{callback, nullptr, Owner(owner), 10, 0, 1, 0};
}

bool AddToTable(SlotTable& table, const TimerRecord& record) {
  return table.EnsureCapacity() && table.Add(record);
}

// The slot that holds (callback, owner), or -1.
long SlotOf(const SlotTable& table, SchedulerCallback callback, std::uintptr_t owner) {
  for (std::uint32_t slot = 0; slot < table.capacity(); ++slot) {
    if (table.IsLive(slot) && table.record(slot).callback == callback &&
        table.record(slot).owner == Owner(owner))
      return slot;
  }
  return -1;
}

TEST(SchedulerSlotTableTest, DuplicateRuleLooksAtTheNewOwnerOnly) {
  SlotTable table;
  ASSERT_TRUE(AddToTable(table, Make(F, 5)));
  EXPECT_FALSE(AddToTable(table, Make(F, 5)));
  EXPECT_FALSE(AddToTable(table, Make(F, 0)));  // 0 is a duplicate of any owner
  EXPECT_TRUE(AddToTable(table, Make(G, 0)));
  EXPECT_TRUE(AddToTable(table, Make(G, 5)));  // an existing owner 0 is not
  EXPECT_TRUE(AddToTable(table, Make(F, 6)));
  EXPECT_EQ(table.count(), 4u);

  // A given owner erases its own record only; owner 0 erases them all.
  EXPECT_FALSE(table.EraseMatching(F, Owner(7)));
  EXPECT_TRUE(table.EraseMatching(G, Owner(5)));
  EXPECT_EQ(SlotOf(table, G, 0), 1);
  EXPECT_TRUE(table.EraseMatching(F, nullptr));
  EXPECT_FALSE(table.EraseMatching(F, nullptr));
  EXPECT_EQ(table.count(), 1u);
  EXPECT_EQ(table.record(0).callback, nullptr);  // a freed slot forgets its function
  // The lowest free slot is taken, and the freed pair may come back.
  EXPECT_TRUE(AddToTable(table, Make(F, 5)));
  EXPECT_EQ(SlotOf(table, F, 5), 0);
}

TEST(SchedulerSlotTableTest, GrowthKeepsSlotsAndCompactionRenumbersInOrder) {
  SlotTable table;
  for (std::uintptr_t n = 1; n <= 1024; ++n)
    ASSERT_TRUE(AddToTable(table, Make(F, n)));
  EXPECT_EQ(table.capacity(), 1024u);
  ASSERT_TRUE(AddToTable(table, Make(F, 1025)));
  EXPECT_EQ(table.capacity(), 2048u);
  for (std::uintptr_t n = 1; n <= 1025; ++n)
    ASSERT_EQ(SlotOf(table, F, n), static_cast<long>(n - 1));

  // 1024 live of 2048 is not below half: no compaction.
  ASSERT_TRUE(table.EraseMatching(F, Owner(1025)));
  ASSERT_TRUE(AddToTable(table, Make(G, 1)));
  EXPECT_EQ(table.capacity(), 2048u);
  EXPECT_EQ(SlotOf(table, G, 1), 1024);

  // Keep owners 3, 6, 9, ... 300 (100 records) and G: the next add compacts.
  for (std::uintptr_t n = 1; n <= 1024; ++n) {
    if (n % 3 != 0 || n > 300)
      ASSERT_TRUE(table.EraseMatching(F, Owner(n)));
  }
  ASSERT_TRUE(table.EraseMatching(G, nullptr));
  ASSERT_EQ(table.count(), 100u);
  ASSERT_TRUE(AddToTable(table, Make(G, 2)));
  EXPECT_EQ(table.capacity(), 1024u);
  EXPECT_EQ(SlotOf(table, G, 2), 100);
  for (std::uintptr_t k = 1; k <= 100; ++k)
    ASSERT_EQ(SlotOf(table, F, 3 * k), static_cast<long>(k - 1));
  // The index follows the new numbers.
  EXPECT_FALSE(AddToTable(table, Make(F, 150)));
  EXPECT_TRUE(table.EraseMatching(F, Owner(150)));
  EXPECT_EQ(SlotOf(table, F, 150), -1);
  EXPECT_TRUE(table.EraseMatching(F, nullptr));
  EXPECT_EQ(table.count(), 1u);
}

// The table against a plain reading of its rules: one linear pass per add,
// growth and compaction by copying. Random work over several summary words
// must give the same results and the same slots.
class ModelTable {
 public:
  bool Add(const TimerRecord& r) {
    if (count + 1 > slots.size()) {
      slots.resize(slots.size() + 1024);
    } else if (slots.size() >= 2048 && double(count) / double(slots.size()) < 0.5) {
      std::vector<TimerRecord> compact((count + 1024) / 1024 * 1024);
      std::size_t next = 0;
      for (const TimerRecord& live : slots)
        if (live.callback)
          compact[next++] = live;
      slots.swap(compact);
    }
    long free = -1;
    for (std::size_t i = 0; i < slots.size(); ++i) {
      if (!slots[i].callback) {
        free = free < 0 ? long(i) : free;
      } else if (slots[i].callback == r.callback && (!r.owner || r.owner == slots[i].owner)) {
        return false;
      }
    }
    slots[free] = r;
    ++count;
    return true;
  }
  bool Erase(SchedulerCallback callback, void* owner) {
    bool any = false;
    for (TimerRecord& live : slots) {
      if (live.callback == callback && (!owner || live.owner == owner)) {
        live.callback = nullptr;
        --count;
        any = true;
      }
    }
    return any;
  }
  std::vector<TimerRecord> slots = std::vector<TimerRecord>(1024);
  std::size_t count = 0;
};

TEST(SchedulerSlotTableTest, AgreesWithTheLinearRulesUnderRandomWork) {
  SlotTable table;
  ModelTable model;
  std::mt19937 random(12345);
  const SchedulerCallback callbacks[] = {F, G, H<1>, H<2>, H<3>, H<4>, H<5>, H<6>};
  for (int round = 0; round < 20000; ++round) {
    // Mostly adds for the first half, mostly erases for the second.
    const bool add = random() % 100 < (round < 10000 ? 85u : 15u);
    const SchedulerCallback callback = callbacks[random() % 8];
    const std::uintptr_t owner = random() % 50 == 0 ? 0 : random() % 4000;
    if (add)
      ASSERT_EQ(AddToTable(table, Make(callback, owner)), model.Add(Make(callback, owner)));
    else
      ASSERT_EQ(table.EraseMatching(callback, Owner(owner)), model.Erase(callback, Owner(owner)));
    ASSERT_EQ(table.count(), model.count);
    ASSERT_EQ(table.capacity(), model.slots.size());
  }
  for (std::uint32_t slot = 0; slot < table.capacity(); ++slot) {
    ASSERT_EQ(table.IsLive(slot), model.slots[slot].callback != nullptr) << slot;
    if (table.IsLive(slot))
      ASSERT_EQ(table.record(slot).owner, model.slots[slot].owner) << slot;
  }
}

}  // namespace
}  // namespace base
