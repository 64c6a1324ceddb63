// The elastic pool. Items wait in one FIFO queue. An idle worker waits on a
// condition variable of its own, on a LIFO stack of idle workers, so a new item
// wakes the most recently idle (cache-warm) worker and the ones at the bottom
// of the stack time out and end.
//
// Liveness: every queued item must have a worker on its way to it that is not
// stuck in another item, since items may block waiting for each other. Such a
// claimant is a woken or starting worker, or a worker that has just run out of
// items and spins for a moment before it sleeps (it will take the head item,
// and every worker that takes an item checks the rest of the queue again).
// When items are left without one, an idle worker is woken, or a new worker is
// started; one start at a time, and the new worker checks again before it runs
// its first item. So blocked items each get a worker of their own, one thread
// start apart, while a burst of short items is drained by the workers that run
// instead of starting a thread per item.
//
// Records are never freed before the pool is: a poster may still notify a
// record whose worker has moved on, and that is then only a spurious wake. A
// record whose thread has ended is reused after a join of the old thread.
#include "platform/thread_pool.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/testing/thread_pool_testing.h"
#include "platform/wait.h"

namespace base::platform {
namespace {

struct WorkItem {
  WorkItemFunction function = nullptr;
  void* context = nullptr;
};

struct Worker {
  std::condition_variable wake;
  std::thread thread;
  bool woken = false;  // guarded by the pool's mutex
};

std::atomic<bool> g_failNextItem{false};

// How long a worker that ran out of items looks for more: rounds of yield.
constexpr int kSpins = 50;

class ThreadPool {
 public:
  static ThreadPool& Instance() {
    static ThreadPool pool;
    return pool;
  }

  ~ThreadPool() { Shutdown(); }

  bool Queue(const WorkItem& item) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (stopped_)
      return false;
    queue_.push_back(item);
    queued_.store(queue_.size(), std::memory_order_relaxed);
    if (Cover(lock))
      return true;
    // No worker could be started. Take the item back unless a worker that
    // finished meanwhile has taken it; items are equal when their parts are.
    lock.lock();
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
      stopped_ = true;
      queue_.clear();
      queued_.store(0, std::memory_order_relaxed);
      idle_.clear();
      created_.wait(lock, [this] { return creating_ == 0; });
      for (auto& record : records_)
        record->wake.notify_one();
    }
    // No record is added or started from here on, so the list is stable.
    for (auto& record : records_) {
      if (!record->thread.joinable())
        continue;
      if (record->thread.get_id() == std::this_thread::get_id())
        record->thread.detach();  // outside the contract; at least no self-join
      else
        record->thread.join();
    }
  }

  std::size_t LiveWorkers() {
    std::lock_guard<std::mutex> lock(mutex_);
    return live_;
  }

  void SetIdleTimeout(std::chrono::milliseconds timeout) {
    std::lock_guard<std::mutex> lock(mutex_);
    idleTimeout_ = timeout;
    for (Worker* worker : idle_)
      worker->wake.notify_one();
  }

 private:
  ThreadPool() {
    // Work items use waitable objects. Touching their table first makes it
    // built before the pool, and so destroyed after the pool's join at unload.
    CloseHandle(nullptr);
    // With room for every worker, the bookkeeping of a start never allocates.
    records_.reserve(kMaxPoolWorkers);
    idle_.reserve(kMaxPoolWorkers);
    spare_.reserve(kMaxPoolWorkers);
  }

  // Makes sure that the queued items have claimants (see the note at the top).
  // A spinning worker covers the whole queue, because it takes the head item
  // and then calls this again. Called with `lock` held; returns with it
  // released. False only if a worker was needed and could not be started.
  bool Cover(std::unique_lock<std::mutex>& lock) {
    if (spinning_ != 0 || queue_.size() <= waking_ + starting_) {
      lock.unlock();
      return true;
    }
    if (!idle_.empty()) {
      Worker* worker = idle_.back();
      idle_.pop_back();
      worker->woken = true;
      ++waking_;
      lock.unlock();
      worker->wake.notify_one();
      return true;
    }
    // One start at a time; the new worker covers the rest when it begins.
    const bool started = starting_ != 0 || live_ == kMaxPoolWorkers || StartWorker(lock);
    lock.unlock();
    return started;
  }

  // Starts a worker. Called with `lock` held, which it lets go of while the
  // thread is created. False if the thread could not be created.
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
    ++starting_;
    ++creating_;
    lock.unlock();
    bool started = true;
    try {
      if (worker->thread.joinable())
        worker->thread.join();  // the previous worker of this record has ended
      worker->thread = std::thread(&ThreadPool::WorkerMain, this, worker);
    } catch (const std::system_error&) {
      started = false;
    }
    lock.lock();
    if (!started) {
      --live_;
      --starting_;
      spare_.push_back(worker);
    }
    if (--creating_ == 0)
      created_.notify_all();
    return started;
  }

  void WorkerMain(Worker* self) {
    std::unique_lock<std::mutex> lock(mutex_);
    --starting_;
    for (;;) {
      if (!queue_.empty()) {
        const WorkItem item = queue_.front();
        queue_.pop_front();
        queued_.store(queue_.size(), std::memory_order_relaxed);
        Cover(lock);  // items that still wait must not depend on this one ending
        item.function(item.context);
        lock.lock();
        continue;
      }
      if (stopped_)
        break;
      if (SpinForItem(lock))
        continue;
      if (!WaitIdle(lock, self))
        break;
    }
    --live_;
    if (!stopped_)
      spare_.push_back(self);
  }

  // A worker that has just run out of items looks for a new one for a short
  // while before it sleeps, so that items posted meanwhile need neither a wake
  // nor a new worker. True if an item is there to take.
  bool SpinForItem(std::unique_lock<std::mutex>& lock) {
    ++spinning_;
    lock.unlock();
    for (int spin = 0; spin < kSpins && queued_.load(std::memory_order_relaxed) == 0; ++spin)
      std::this_thread::yield();
    lock.lock();
    --spinning_;
    return !queue_.empty();
  }

  // Waits on the idle stack until the worker is woken or the pool stops
  // (true), or until it has been idle for the idle timeout (false). The timeout
  // is read again at every wake, so a change reaches workers that already wait.
  bool WaitIdle(std::unique_lock<std::mutex>& lock, Worker* self) {
    idle_.push_back(self);
    self->woken = false;
    const auto idleSince = std::chrono::steady_clock::now();
    for (;;) {
      if (self->woken) {
        --waking_;
        return true;
      }
      if (stopped_)
        return true;
      const auto until = idleSince + idleTimeout_;
      if (std::chrono::steady_clock::now() >= until) {
        // Nobody woke it, so it is still on the idle stack.
        for (auto it = idle_.begin(); it != idle_.end(); ++it) {
          if (*it == self) {
            idle_.erase(it);
            break;
          }
        }
        return false;
      }
      self->wake.wait_until(lock, until);
    }
  }

  std::mutex shutdownMutex_;
  std::mutex mutex_;
  std::condition_variable created_;
  // Guarded by `mutex_`.
  std::vector<std::unique_ptr<Worker>> records_;  // every record ever made
  std::vector<Worker*> idle_;                     // idle workers, latest last
  std::vector<Worker*> spare_;                    // records whose worker ended
  std::deque<WorkItem> queue_;
  std::size_t live_ = 0;                // workers started and not yet ended
  std::size_t starting_ = 0;            // started, not yet at their first item
  std::size_t waking_ = 0;              // woken from the idle stack, not yet running
  std::size_t spinning_ = 0;            // looking for an item before they sleep
  std::atomic<std::size_t> queued_{0};  // queue_.size(), for the spinners
  std::size_t creating_ = 0;            // thread creations in progress
  bool stopped_ = false;
  std::chrono::milliseconds idleTimeout_{10000};
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

namespace testing {

void FailNextWorkItem() {
  g_failNextItem.store(true, std::memory_order_relaxed);
}

void SetIdleWorkerTimeout(std::uint32_t milliseconds) {
  ThreadPool::Instance().SetIdleTimeout(std::chrono::milliseconds(milliseconds));
}

std::size_t PoolWorkerCount() {
  return ThreadPool::Instance().LiveWorkers();
}

}  // namespace testing
}  // namespace base::platform
