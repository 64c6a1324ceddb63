#include "thread/current_task_map.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

namespace OrvThread {
namespace {

// Stands for a task; the map never looks behind the pointer.
ThreadTask* FakeTask(unsigned thread, unsigned round) {
  return reinterpret_cast<ThreadTask*>(static_cast<std::uintptr_t>(thread) << 20 | round << 4 | 8u);
}

// One thread's life in the map, round after round, as a pool worker's. Counts
// the lookups that did not find what the thread last set.
unsigned ComeAndGo(CurrentTaskMap& map, unsigned thread, unsigned rounds) {
  unsigned wrong = 0;
  for (unsigned round = 0; round < rounds; ++round) {
    ThreadTask* const task = FakeTask(thread, round);
    map.SetCurrentTask(task);
    wrong += map.CurrentTask() != task;
    map.SetCurrentTask(nullptr);  // an entry without a task
    wrong += map.CurrentTask() != nullptr;
    map.SetCurrentTask(task);
    wrong += map.CurrentTask() != task;
    map.EraseCurrentTask();
    wrong += map.CurrentTask() != nullptr;
    map.EraseCurrentTask();  // nothing left to erase
  }
  return wrong;
}

// Threads come and go in the map at the same time, each finding only its own
// entry however the others' ids sort around it.
TEST(CurrentTaskMapTest, EachThreadFindsItsOwnEntryWhileOthersComeAndGo) {
  constexpr unsigned kThreads = 8;
  constexpr unsigned kRounds = 5000;
  CurrentTaskMap map;
  EXPECT_EQ(map.CurrentTask(), nullptr);
  std::atomic<unsigned> wrong{0};
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (unsigned t = 1; t <= kThreads; ++t) {
    threads.emplace_back([&, t] {
      while (!go.load())
        std::this_thread::yield();
      wrong += ComeAndGo(map, t, kRounds);
    });
  }
  go = true;
  wrong += ComeAndGo(map, 0, kRounds);
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(wrong.load(), 0u);
  map.SetCurrentTask(FakeTask(0, 1));
  EXPECT_EQ(map.CurrentTask(), FakeTask(0, 1));
}

}  // namespace
}  // namespace OrvThread
