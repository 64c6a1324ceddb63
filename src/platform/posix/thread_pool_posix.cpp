// The elastic pool. Items wait in one FIFO queue under one mutex, held only
// for a few counter updates and a push or a pop. Workers are in one of five
// states:
//
//   searching  awake without an item: starting, just woken, or spinning for a
//              moment after an item before going to sleep
//   running    inside an item
//   blocked    inside an item, in one of the library's waits
//   waiting    inside an item whose wait has ended, for a turn to run on
//   idle       asleep on a LIFO stack, so a wake finds the most recently idle
//              (cache-warm) worker and the bottom of the stack retires
//
// Runnable work runs on about one worker per core: items are taken only
// while fewer than `target_` workers run (the core count, unless the watchdog
// raised it); a poster wakes a sleeper only when no worker is searching and
// an item could be taken; and a worker that takes an item wakes the next one
// under the same rule. A burst of short items is therefore drained by the few
// workers that run, which never convoy on the locks of the items, and workers
// that wake together after a long wait go back to sleep instead of all taking
// items at once.
//
// A worker whose wait ends is runnable work too. It goes on at once while
// fewer than `target_` workers run; otherwise it waits for the next worker
// that ends an item or blocks, which hands its turn over directly, before any
// queued item. Without that turn, a stop that interrupts hundreds of sleeping
// tasks wakes them all at once, and they convoy on the locks that every
// task's end takes.
//
// Liveness: items may wait for each other. A worker that blocks stops counting
// as running, so the same rule wakes or starts another worker at once while
// items wait. Blocking that the pool cannot see is covered by the watchdog:
// while items or woken workers wait and none has gone on for kWatchdogTick, it
// lets one more worker run, and waits twice as long after each such step, up
// to kWatchdogMaxTick. The target falls back to the core count once nothing
// waits.
//
// Lifetime: the pool lives in static storage and is torn down by an exit-table
// entry, added after the waitable objects' table exists, so it runs before
// that table and the map of current tasks go. At unload it joins every worker.
// At the end of the process it joins none: a blocked worker must not keep the
// process alive. It only lets workers that are still inside an item, and not
// blocked, leave it for a while (kExitGrace): they are most likely in the
// last steps of a task, which use the library's statics. From then on no
// worker returns into an item, nor takes one, nor ends: each stays where it
// is or waits for the process to end it, as the system would have ended it. The pool is then never
// destroyed, so workers still inside it find its memory intact.
#include "platform/thread_pool.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "check/dcheck.h"
#include "platform/exit_table.h"
#include "platform/posix/blocking_wait_posix.h"
#include "platform/posix/mutex_owner_posix.h"
#include "platform/posix/process_exit_posix.h"
#include "platform/testing/thread_pool_testing.h"
#include "platform/wait.h"

namespace base::platform {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

struct WorkItem {
  WorkItemFunction function = nullptr;
  void* context = nullptr;
};

struct Worker {
  std::condition_variable wake;
  std::thread thread;
  bool woken = false;  // guarded by the pool's mutex; set by the one who wakes it
};

// What the calling thread is to the pool. Trivially destructible, so it does
// not pin the module.
enum class ThreadRole : unsigned char { kOther, kInItem, kBlocked };
thread_local ThreadRole t_role = ThreadRole::kOther;
thread_local Worker* t_worker = nullptr;  // the calling pool thread's record

std::atomic<bool> g_failNextItem{false};

// How long a worker that ran out of items looks for more before it sleeps. It
// yields between looks: the thread that its item woke (a joiner, say) often
// needs this very processor, and on two cores a spin that held on to it made a
// post-and-join cycle twice as slow. The price is on a busy machine, where a
// worker may still count as looking for work for a scheduler slice after its
// time is up, and posters rely on it.
constexpr std::chrono::microseconds kSpinTime{50};
constexpr Milliseconds kWatchdogTick{10};
constexpr Milliseconds kWatchdogMaxTick{320};
constexpr Milliseconds kDefaultIdleTimeout{2000};
constexpr Milliseconds kExitGrace{1000};

// The pool's counters count what exists, so none ever goes below 0.
std::size_t CountDown(std::size_t& counter) {
  BASE_DCHECK(counter > 0);
  return --counter;
}

std::size_t CoreCount() {
  return std::max(1u, std::thread::hardware_concurrency());
}

class ThreadPool {
 public:
  static ThreadPool& Instance() {
    static ThreadPool* const pool = Create();
    return *pool;
  }

  bool Queue(const WorkItem& item) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (stopped_)
      return false;
    queue_.push_back(item);
    queued_.store(queue_.size(), std::memory_order_relaxed);
    WakeWatchdog();
    if (Cover(lock) || live_ != 0)
      return true;
    // No worker could be started and there is none to take the item. Take it
    // back unless one that started meanwhile has taken it; items are equal
    // when their parts are.
    for (auto it = queue_.rbegin(); it != queue_.rend(); ++it) {
      if (it->function == item.function && it->context == item.context) {
        queue_.erase(std::next(it).base());
        queued_.store(queue_.size(), std::memory_order_relaxed);
        return false;
      }
    }
    return true;
  }

  void Shutdown() {
    std::lock_guard<std::mutex> once(shutdownMutex_);
    {
      std::unique_lock<std::mutex> lock(mutex_);
      Stop();
      created_.wait(lock, [this] { return creating_ == 0; });
    }
    // No record is added or started from here on, so the list is stable.
    for (auto& record : records_)
      JoinUnlessSelf(record->thread);
    JoinUnlessSelf(watchdog_);
  }

  void EnterBlocking() {
    t_role = ThreadRole::kBlocked;
    std::unique_lock<std::mutex> lock(mutex_);
    LeaveRunning();
    ++blocked_;
    Cover(lock);
  }

  void LeaveBlocking() {
    // The process is ending and its handlers may have destroyed what the item
    // would touch next: stay here until the process ends this thread.
    if (ProcessIsEnding())
      WaitForProcessEnd();
    t_role = ThreadRole::kInItem;
    std::unique_lock<std::mutex> lock(mutex_);
    CountDown(blocked_);
    if (running_ < target_ || stopped_) {
      ++running_;
      return;
    }
    WaitForTurn(lock, t_worker);
  }

  testing::PoolCounts Counts() {
    std::lock_guard<std::mutex> lock(mutex_);
    return {live_, running_, blocked_, queue_.size()};
  }

  void SetIdleTimeout(Milliseconds timeout) {
    std::lock_guard<std::mutex> lock(mutex_);
    idleTimeout_ = timeout;
    for (Worker* worker : idle_)
      worker->wake.notify_one();
  }

  void SetCap(std::size_t cap) {
    std::lock_guard<std::mutex> lock(mutex_);
    cap_ = std::min(cap, kMaxPoolWorkers);
  }

 private:
  ThreadPool() {
    // Work items use waitable objects. Touching their table first makes it
    // built before the pool, and so destroyed after the pool's join at unload.
    CloseSystemHandle(nullptr);
    // With room for every worker, the bookkeeping of a start or of a wait's
    // end never allocates.
    records_.reserve(kMaxPoolWorkers);
    idle_.reserve(kMaxPoolWorkers);
    spare_.reserve(kMaxPoolWorkers);
    waitingForTurn_.reserve(kMaxPoolWorkers);
  }
  ~ThreadPool() = default;

  static ThreadPool* Create() {
    alignas(ThreadPool) static unsigned char storage[sizeof(ThreadPool)];
    ThreadPool* pool = new (storage) ThreadPool();
    // Without its entry nothing would join the workers at unload, and they
    // would go on in unmapped code: such a pool refuses every item instead.
    if (!AddExitTableEntry(&TearDown))
      pool->stopped_ = true;
    WatchForProcessEnd();  // after the entry, so that it runs before it
    return pool;
  }

  static void TearDown() {
    ThreadPool& pool = Instance();
    if (ProcessIsEnding()) {
      std::vector<Worker*> retired;
      {
        std::unique_lock<std::mutex> lock(pool.mutex_);
        pool.stopped_ = true;  // no wake: sleepers sleep on until the end
        pool.queue_.clear();
        pool.itemsLeft_.wait_for(lock, kExitGrace, [&pool] { return pool.running_ == 0; });
        retired = pool.spare_;
      }
      // Workers that retired have left their loop; joining them is quick, and
      // tools that look for threads nobody joined find none.
      for (Worker* worker : retired)
        JoinUnlessSelf(worker->thread);
      return;
    }
    pool.Shutdown();
    pool.~ThreadPool();
    StopWatchingForProcessEnd();
  }

  static void JoinUnlessSelf(std::thread& thread) {
    if (!thread.joinable())
      return;
    if (thread.get_id() == std::this_thread::get_id())
      thread.detach();  // outside the contract; at least no self-join
    else
      thread.join();
  }

  // Lets go of the lock for good: the process is ending, and whoever tears
  // the pool down needs it.
  [[noreturn]] static void ParkUntilProcessEnd(std::unique_lock<std::mutex>& lock) {
    lock.unlock();
    WaitForProcessEnd();
  }

  // Under the lock: one worker fewer runs an item (it ended or blocks). Its
  // turn goes to a woken worker if one waits.
  void LeaveRunning() {
    AssertHeld(mutex_);
    CountDown(running_);
    if (stopped_)
      itemsLeft_.notify_all();
    GiveTurns();
  }

  // Under the lock: a worker whose wait has ended waits until it may run
  // again. The one who gives it the turn counts it as running. A stop lets
  // every such worker go on; at the end of the process none is woken, so it
  // stays here until the process ends it.
  void WaitForTurn(std::unique_lock<std::mutex>& lock, Worker* self) {
    AssertHeld(mutex_);
    self->woken = false;
    waitingForTurn_.push_back(self);
    WakeWatchdog();
    self->wake.wait(lock, [this, self] { return self->woken || stopped_; });
    if (ProcessIsEnding()) {
      if (self->woken)
        LeaveRunning();  // the turn it was given goes unused
      ParkUntilProcessEnd(lock);
    }
    if (!self->woken)
      ++running_;
  }

  // Under the lock: hands out turns while fewer than the target run.
  void GiveTurns() {
    AssertHeld(mutex_);
    while (!waitingForTurn_.empty() && running_ < target_ && !stopped_) {
      Worker* worker = waitingForTurn_.front();
      waitingForTurn_.erase(waitingForTurn_.begin());
      worker->woken = true;
      ++running_;
      ++progress_;
      worker->wake.notify_one();
    }
  }

  void WakeWatchdog() {
    if (watchdogAsleep_) {
      watchdogAsleep_ = false;
      watchdogWake_.notify_one();
    }
  }

  // Under the lock: no item starts from here on, and every sleeper wakes.
  void Stop() {
    AssertHeld(mutex_);
    stopped_ = true;
    queue_.clear();
    queued_.store(0, std::memory_order_relaxed);
    idle_.clear();
    waitingForTurn_.clear();
    for (auto& record : records_)
      record->wake.notify_one();
    watchdogWake_.notify_one();
  }

  // Makes sure that queued items have a worker on its way to them (see the
  // note at the top). Called with `lock` held, which it may let go of for a
  // while. False only if a worker was needed and could not be started.
  bool Cover(std::unique_lock<std::mutex>& lock) {
    AssertHeld(mutex_);
    GiveTurns();
    if (queue_.empty() || searching_ != 0 || running_ >= target_)
      return true;
    return WakeOrStart(lock);
  }

  bool WakeOrStart(std::unique_lock<std::mutex>& lock) {
    if (!idle_.empty()) {
      Worker* worker = idle_.back();
      idle_.pop_back();
      worker->woken = true;
      ++searching_;
      worker->wake.notify_one();
      return true;
    }
    return live_ >= cap_ || StartWorker(lock);
  }

  // Starts a worker, which counts as searching from here on. Called with
  // `lock` held, which it lets go of while the thread is created. False if the
  // thread could not be created.
  bool StartWorker(std::unique_lock<std::mutex>& lock) {
    Worker* worker;
    if (!spare_.empty()) {
      worker = spare_.back();
      spare_.pop_back();
    } else {
      records_.push_back(std::make_unique<Worker>());
      worker = records_.back().get();
    }
    ++live_;
    ++searching_;
    ++creating_;
    const bool firstStart = !watchdogStarted_;
    watchdogStarted_ = true;
    lock.unlock();
    bool started = true;
    try {
      if (worker->thread.joinable())
        worker->thread.join();  // the previous worker of this record has ended
      worker->thread = std::thread(&ThreadPool::WorkerMain, this, worker);
      if (firstStart)
        watchdog_ = std::thread(&ThreadPool::WatchdogMain, this);
    } catch (const std::system_error&) {
      started = worker->thread.joinable();
    }
    lock.lock();
    if (!started) {
      CountDown(live_);
      CountDown(searching_);
      spare_.push_back(worker);
    }
    if (CountDown(creating_) == 0)
      created_.notify_all();
    return started;
  }

  void WorkerMain(Worker* self) {
    t_worker = self;
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      if (!queue_.empty() && running_ < target_) {
        RunNextItem(lock);
        continue;
      }
      if (stopped_) {
        if (ProcessIsEnding())
          ParkUntilProcessEnd(lock);
        break;
      }
      if (queue_.empty() && SpinForItem(lock))
        continue;
      CountDown(searching_);
      if (!WaitIdle(lock, self))
        break;
    }
    CountDown(searching_);
    CountDown(live_);
    if (!stopped_)
      spare_.push_back(self);
  }

  // Takes the head item and runs it with `lock` let go. The worker searches
  // again afterwards.
  void RunNextItem(std::unique_lock<std::mutex>& lock) {
    const WorkItem item = queue_.front();
    queue_.pop_front();
    queued_.store(queue_.size(), std::memory_order_relaxed);
    ++progress_;
    CountDown(searching_);
    ++running_;
    Cover(lock);  // the items behind this one need a worker of their own
    lock.unlock();
    t_role = ThreadRole::kInItem;
    item.function(item.context);
    t_role = ThreadRole::kOther;
    lock.lock();
    LeaveRunning();
    ++searching_;
  }

  // A worker that has just run out of items looks for a new one for a short
  // while before it sleeps, so that items posted meanwhile need neither a wake
  // nor a new worker. True if an item is there to take.
  bool SpinForItem(std::unique_lock<std::mutex>& lock) {
    lock.unlock();
    const auto until = Clock::now() + kSpinTime;
    while (queued_.load(std::memory_order_relaxed) == 0 && Clock::now() < until)
      std::this_thread::yield();
    lock.lock();
    return !queue_.empty();
  }

  // Waits on the idle stack until the worker is woken or the pool stops
  // (true), or until it has been idle for the idle timeout while more than
  // the core count of workers live (false: it retires). The timeout is read
  // again at every wake, so a change reaches workers that already wait.
  bool WaitIdle(std::unique_lock<std::mutex>& lock, Worker* self) {
    idle_.push_back(self);
    self->woken = false;
    const auto idleSince = Clock::now();
    for (;;) {
      if (self->woken || stopped_) {
        if (!self->woken)
          ++searching_;  // the stop counts it back down on the way out
        return true;
      }
      const auto until = idleSince + idleTimeout_;
      if (live_ > cores_ && Clock::now() >= until) {
        // Nobody woke it, so it is still on the idle stack.
        idle_.erase(std::find(idle_.begin(), idle_.end(), self));
        ++searching_;
        return false;
      }
      if (live_ > cores_)
        self->wake.wait_until(lock, until);
      else
        self->wake.wait(lock);
    }
  }

  // Lets one more worker run while items or woken workers wait and none goes
  // on: blocking that the pool cannot see. Sleeps for good while nothing
  // waits.
  void WatchdogMain() {
    std::unique_lock<std::mutex> lock(mutex_);
    Milliseconds tick = kWatchdogTick;
    std::uint64_t seen = progress_;
    while (!stopped_) {
      if (!SomethingWaits()) {
        target_ = cores_;
        watchdogAsleep_ = true;
        watchdogWake_.wait(lock);
        watchdogAsleep_ = false;
        tick = kWatchdogTick;
        seen = progress_;
        continue;
      }
      watchdogWake_.wait_for(lock, tick);
      if (stopped_)
        break;
      const bool stuck = SomethingWaits() && progress_ == seen && searching_ == 0;
      if (stuck && running_ < cap_) {
        target_ = running_ + 1;
        Cover(lock);
        tick = std::min(tick * 2, kWatchdogMaxTick);
      } else if (!stuck) {
        tick = kWatchdogTick;
      }
      seen = progress_;
    }
    if (ProcessIsEnding())
      ParkUntilProcessEnd(lock);
  }

  bool SomethingWaits() const { return !queue_.empty() || !waitingForTurn_.empty(); }

  const std::size_t cores_ = CoreCount();
  std::mutex shutdownMutex_;
  std::mutex mutex_;
  std::condition_variable created_;
  std::condition_variable watchdogWake_;
  std::condition_variable itemsLeft_;  // running_ fell while stopped
  std::thread watchdog_;
  // Guarded by `mutex_`.
  std::vector<std::unique_ptr<Worker>> records_;  // every record ever made
  std::vector<Worker*> idle_;                     // idle workers, latest last
  std::vector<Worker*> spare_;                    // records whose worker ended
  std::deque<WorkItem> queue_;
  std::vector<Worker*> waitingForTurn_;  // woken workers, oldest first
  std::size_t live_ = 0;                 // workers started and not yet ended
  std::size_t searching_ = 0;            // awake without an item
  std::size_t running_ = 0;              // inside an item, not blocked
  std::size_t blocked_ = 0;              // inside an item, in a wait of the library
  std::size_t creating_ = 0;             // thread creations in progress
  std::uint64_t progress_ = 0;           // items taken and turns given since the start
  std::size_t target_ = cores_;          // the most workers that take items at once
  std::size_t cap_ = kMaxPoolWorkers;
  bool stopped_ = false;
  bool watchdogStarted_ = false;
  bool watchdogAsleep_ = false;
  Milliseconds idleTimeout_ = kDefaultIdleTimeout;
  std::atomic<std::size_t> queued_{0};  // queue_.size(), for the spinners
};

}  // namespace

bool QueueWorkItem(WorkItemFunction function, void* context, std::uint32_t /*flags*/) {
  if (!function || g_failNextItem.exchange(false, std::memory_order_relaxed))
    return false;
  return ThreadPool::Instance().Queue(WorkItem{function, context});
}

void ShutdownThreadPool() {
  ThreadPool::Instance().Shutdown();
}

void EnterBlockingWait() {
  if (t_role == ThreadRole::kInItem)
    ThreadPool::Instance().EnterBlocking();
}

void LeaveBlockingWait() {
  if (t_role == ThreadRole::kBlocked)
    ThreadPool::Instance().LeaveBlocking();
}

namespace testing {

void FailNextWorkItem() {
  g_failNextItem.store(true, std::memory_order_relaxed);
}

void SetIdleWorkerTimeout(std::uint32_t milliseconds) {
  ThreadPool::Instance().SetIdleTimeout(Milliseconds(milliseconds));
}

void SetWorkerCap(std::size_t cap) {
  ThreadPool::Instance().SetCap(cap);
}

PoolCounts CountPool() {
  return ThreadPool::Instance().Counts();
}

std::size_t PoolWorkerCount() {
  return CountPool().live;
}

}  // namespace testing
}  // namespace base::platform
