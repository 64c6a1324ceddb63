// A soak run of the library under mixed traffic: 8 threads set and kill
// callback timers, post, interrupt and join tasks, queue and erase async
// callbacks, and use the global handle pool and the exit lists, while the main
// thread pumps messages. Not a unit test: scripts/soak.sh builds and runs it
// for minutes, under a sanitizer preset.
//
// Usage: soak [seconds]. Prints what it did and exits 1 if any check failed.
//
// Checks, after the traffic has stopped and the queues have drained:
//   - every one-shot timer with an id either ran or was killed, never both;
//   - every async callback that was queued either ran or was erased;
//   - every task posted ran once and was joined within its bound;
//   - every handle looked up gave back the object it was made for.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "base/exit_notify.h"
#include "base/handle_pool.h"
#include "base/message_loop.h"
#include "base/method.h"
#include "base/platform.h"
#include "base/thread_task.h"
#include "base/timer.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kThreads = 8;
// A join that takes longer than this is a failure, not a slow machine.
constexpr std::uint32_t kJoinBoundMs = 60000;

struct Counters {
  std::atomic<std::uint64_t> timersSet{0};
  std::atomic<std::uint64_t> timersKilled{0};
  std::atomic<std::uint64_t> timersRan{0};
  std::atomic<std::uint64_t> tasksPosted{0};
  std::atomic<std::uint64_t> tasksInterrupted{0};
  std::atomic<std::uint64_t> tasksRan{0};
  std::atomic<std::uint64_t> callbacksFromTasks{0};
  std::atomic<std::uint64_t> asyncQueued{0};
  std::atomic<std::uint64_t> asyncErased{0};
  std::atomic<std::uint64_t> asyncRan{0};
  std::atomic<std::uint64_t> handleRoundTrips{0};
  std::atomic<std::uint64_t> exitListChanges{0};
  std::atomic<std::uint64_t> failures{0};
};

Counters g_counts;

// The handle pool and the exit lists take no lock: their callers serialise.
std::mutex g_unlockedFamilies;

void Fail(const char* what) {
  g_counts.failures.fetch_add(1);
  std::fprintf(stderr, "soak: failed: %s\n", what);
}

void CountAsync(void* /*owner*/, void* /*param*/) {
  g_counts.asyncRan.fetch_add(1);
}

void ExitCallback(void* /*param*/) {}

class Traffic {
 public:
  Traffic(int index, Clock::time_point until)
      : index_(index), until_(until), random_(static_cast<unsigned>(index) * 7919u + 1) {}

  void Run() {
    while (Clock::now() < until_) {
      switch (random_() % 5) {
        case 0:
          Timers();
          break;
        case 1:
          Tasks();
          break;
        case 2:
          AsyncCallbacks();
          break;
        case 3:
          Handles();
          break;
        default:
          ExitLists();
          break;
      }
    }
  }

 private:
  // A one-shot timer of a fresh id, killed again half of the time.
  void Timers() {
    const std::uint32_t id =
        (static_cast<std::uint32_t>(index_ + 1) << 24) | (++timerSerial_ & 0xFFFFFF);
    const auto delay = static_cast<std::int32_t>(random_() % 20);
    SetTimeCallback(delay, MakeMethod([] { g_counts.timersRan.fetch_add(1); }), id);
    g_counts.timersSet.fetch_add(1);
    if (random_() % 2 == 0 && KillTimeCallback(id))
      g_counts.timersKilled.fetch_add(1);
  }

  // A few tasks that sleep or wait and report back, some interrupted, all
  // joined.
  void Tasks() {
    std::vector<OrvThread::ThreadTaskPtr> tasks;
    const int count = 1 + static_cast<int>(random_() % 4);
    for (int i = 0; i < count; ++i) {
      const std::uint32_t ms = random_() % 8;
      OrvThread::ThreadTaskPtr task = OrvThread::PostThreadTask(MakeMethod([ms] {
        g_counts.tasksRan.fetch_add(1);
        OrvThread::thisThreadTask::Sleep(ms);
        if (ms % 2 == 0) {
          g_counts.callbacksFromTasks.fetch_add(1);
          OrvThread::thisThreadTask::DoCallback(MakeMethod([] {}));
        }
      }));
      if (task == nullptr) {
        Fail("a launch was refused");
        continue;
      }
      g_counts.tasksPosted.fetch_add(1);
      if (random_() % 3 == 0) {
        task->Interrupt();
        g_counts.tasksInterrupted.fetch_add(1);
      }
      tasks.push_back(task);
    }
    for (auto& task : tasks) {
      if (!task->TimedJoin(kJoinBoundMs))
        Fail("a task did not end within its bound");
    }
  }

  void AsyncCallbacks() {
    void* owner = &asyncOwners_[random_() % kOwners];
    if (SetAsyncCallback(&CountAsync, nullptr, owner))
      g_counts.asyncQueued.fetch_add(1);
    if (random_() % 3 == 0 && EraseAsyncCallback(&CountAsync, owner))
      g_counts.asyncErased.fetch_add(1);
  }

  void Handles() {
    std::lock_guard<std::mutex> hold(g_unlockedFamilies);
    unsigned int handle = 0;
    if (GlobalHandleAllocateHandle(this, &handle) != HandleResultOk) {
      Fail("no handle");
      return;
    }
    st_handle_entry entry{};
    if (GlobalHandleGetEntry(handle, &entry) != HandleResultOk || entry.object != this ||
        entry.state != HandleStateValid) {
      Fail("a handle gave back something else");
    }
    if (random_() % 2 == 0)
      GlobalHandleDisableHandle(handle);
    GlobalHandleCloseHandle(handle);
    g_counts.handleRoundTrips.fetch_add(1);
  }

  void ExitLists() {
    std::lock_guard<std::mutex> hold(g_unlockedFamilies);
    if (random_() % 2 == 0)
      AddExitCallBack(&ExitCallback, this);
    else
      RemoveExitCallBack(&ExitCallback);
    g_counts.exitListChanges.fetch_add(1);
  }

  static constexpr int kOwners = 16;
  const int index_;
  const Clock::time_point until_;
  std::minstd_rand random_;
  std::uint32_t timerSerial_ = 0;
  char asyncOwners_[kOwners] = {};
};

// Pumps until `done` holds or `limit` passes; false if it never held.
template <typename Done>
bool PumpUntil(Done done, std::chrono::seconds limit) {
  const auto deadline = Clock::now() + limit;
  while (!done()) {
    if (Clock::now() >= deadline)
      return false;
    base::PumpMessages(10);
  }
  return true;
}

void Report(double seconds) {
  const Counters& c = g_counts;
  std::printf(
      "soak: %.0f s, 8 threads\n"
      "  timers:  %llu set, %llu killed, %llu ran\n"
      "  tasks:   %llu posted, %llu interrupted, %llu ran, %llu callbacks sent\n"
      "  async:   %llu queued, %llu erased, %llu ran\n"
      "  handles: %llu round trips; exit lists: %llu changes\n"
      "  operations: %llu, failures: %llu\n",
      seconds, (unsigned long long)c.timersSet.load(), (unsigned long long)c.timersKilled.load(),
      (unsigned long long)c.timersRan.load(), (unsigned long long)c.tasksPosted.load(),
      (unsigned long long)c.tasksInterrupted.load(), (unsigned long long)c.tasksRan.load(),
      (unsigned long long)c.callbacksFromTasks.load(), (unsigned long long)c.asyncQueued.load(),
      (unsigned long long)c.asyncErased.load(), (unsigned long long)c.asyncRan.load(),
      (unsigned long long)c.handleRoundTrips.load(), (unsigned long long)c.exitListChanges.load(),
      (unsigned long long)(c.timersSet + c.timersKilled + c.tasksPosted + c.tasksInterrupted +
                           c.asyncQueued + c.asyncErased + c.handleRoundTrips + c.exitListChanges),
      (unsigned long long)c.failures.load());
}

}  // namespace

int main(int argc, char** argv) {
  const int seconds = argc > 1 ? std::atoi(argv[1]) : 60;
  // The main thread owns the timers and the scheduler, and pumps for both.
  InitTimeCallback();
  EraseAsyncCallback(&CountAsync, nullptr);
  OrvThread::InitThreadManagement();

  const auto start = Clock::now();
  const auto until = start + std::chrono::seconds(seconds);
  std::atomic<int> running{kThreads};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([i, until, &running] {
      Traffic(i, until).Run();
      running.fetch_sub(1);
    });
  }
  while (running.load() != 0)
    base::PumpMessages(10);
  for (auto& thread : threads)
    thread.join();

  // Let the last timers run out and the last async callbacks run.
  if (!PumpUntil([] { return g_counts.timersRan + g_counts.timersKilled == g_counts.timersSet; },
                 std::chrono::seconds(30)))
    Fail("a timer neither ran nor was killed");
  if (!PumpUntil([] { return g_counts.asyncRan + g_counts.asyncErased == g_counts.asyncQueued; },
                 std::chrono::seconds(30)))
    Fail("an async callback neither ran nor was erased");
  // Every task was joined: each ran exactly once, interrupted or not.
  if (g_counts.tasksRan != g_counts.tasksPosted)
    Fail("a task did not run exactly once");
  OrvThread::FInitThreadManagement();
  base::PumpMessages(50);  // the callbacks the last tasks sent

  Report(std::chrono::duration<double>(Clock::now() - start).count());
  return g_counts.failures.load() == 0 ? 0 : 1;
}
