#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <unordered_map>

#include "timer/time_record_queue.h"
#include "timer/timer_id_table.h"

namespace base {
namespace {

struct Key {
  std::uint32_t sortTick;
  std::uint32_t sequence;
};

bool Before(const Key& a, const Key& b) {
  if (a.sortTick != b.sortTick)
    return static_cast<std::int32_t>(b.sortTick - a.sortTick) > 0;
  return static_cast<std::int32_t>(b.sequence - a.sequence) > 0;
}

// Random inserts, removals and moves against a plain model. Sort ticks are
// drawn from a narrow window across the wrap, so ties are frequent and the
// sequence decides them; sequences start near their own wrap.
TEST(TimeRecordQueueTest, FrontFollowsTheWrappingOrder) {
  std::mt19937 rng(20240601);
  TimeRecordQueue queue;
  std::map<TimeRecordQueue::Slot, Key> model;
  std::uint32_t sequence = 0xFFFFFF00u;
  auto drawTick = [&] { return 0xFFFFFFE0u + static_cast<std::uint32_t>(rng() % 64); };
  auto pick = [&] {
    auto it = model.begin();
    std::advance(it, rng() % model.size());
    return it;
  };
  for (int step = 0; step < 20000; ++step) {
    const unsigned what = rng() % 4;
    if (model.empty() || (what < 2 && model.size() < 300)) {
      const Key key{drawTick(), sequence++};
      TimeRecord record;
      record.id = key.sequence;
      const TimeRecordQueue::Slot slot = queue.Insert(record, key.sortTick, key.sequence);
      ASSERT_EQ(model.count(slot), 0u) << "a live slot was handed out again";
      model[slot] = key;
    } else if (what == 2) {
      const auto it = pick();
      queue.Remove(it->first);
      model.erase(it);
    } else {
      const auto it = pick();
      it->second = Key{drawTick(), what % 2 == 0 ? it->second.sequence : sequence++};
      queue.Reorder(it->first, it->second.sortTick, it->second.sequence);
    }
    ASSERT_EQ(queue.Size(), model.size());
    if (model.empty())
      continue;
    auto front = model.begin();
    for (auto it = model.begin(); it != model.end(); ++it) {
      if (Before(it->second, front->second))
        front = it;
    }
    ASSERT_EQ(queue.Front(), front->first) << "step " << step;
    ASSERT_EQ(queue.SequenceOf(front->first), front->second.sequence);
  }
}

// Ids from a small range collide and cluster, so erasing must mend the
// probe runs it breaks.
TEST(TimerIdTableTest, MatchesAMapUnderRandomInsertsAndErases) {
  std::mt19937 rng(99);
  TimerIdTable table;
  std::unordered_map<std::uint32_t, std::uint32_t> model;
  EXPECT_EQ(table.Find(5), TimerIdTable::kAbsent);  // empty table
  for (int step = 0; step < 30000; ++step) {
    const std::uint32_t id = 1 + rng() % 3000;
    if (model.count(id) != 0) {
      table.Erase(id);
      model.erase(id);
    } else {
      table.Reserve(table.Size() + 1);
      table.Insert(id, static_cast<std::uint32_t>(step));
      model[id] = static_cast<std::uint32_t>(step);
    }
    ASSERT_EQ(table.Size(), model.size());
    if (step % 500 == 0) {
      for (std::uint32_t probe = 0; probe <= 3000; ++probe) {
        const auto it = model.find(probe);
        ASSERT_EQ(table.Find(probe), it == model.end() ? TimerIdTable::kAbsent : it->second)
            << "id " << probe << " at step " << step;
      }
    }
  }
  table.Erase(0);  // never filed: no effect
  EXPECT_EQ(table.Size(), model.size());
}

}  // namespace
}  // namespace base
