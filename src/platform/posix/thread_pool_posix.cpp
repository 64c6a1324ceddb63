// The elastic pool. Each worker has a record with its own condition variable;
// an idle worker waits on it, on a LIFO stack of idle workers, so a new item
// goes straight to the most recently idle (cache-warm) worker and the ones at
// the bottom of the stack time out and end. Records are never freed before the
// pool is: a poster may still notify a record whose worker has moved on, and
// that is then only a spurious wake. A record whose thread has ended is reused
// for the next worker after a join of the old thread.
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
  // Guarded by the pool's mutex.
  WorkItem item;
  bool hasItem = false;
};

std::atomic<bool> g_failNextItem{false};

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
    if (!idle_.empty()) {
      Worker* worker = idle_.back();
      idle_.pop_back();
      worker->item = item;
      worker->hasItem = true;
      lock.unlock();
      worker->wake.notify_one();
      return true;
    }
    if (live_ == kMaxPoolWorkers) {
      backlog_.push_back(item);
      return true;
    }
    return StartWorker(lock, item);
  }

  void Shutdown() {
    std::lock_guard<std::mutex> once(shutdownMutex_);
    {
      std::unique_lock<std::mutex> lock(mutex_);
      stopped_ = true;
      backlog_.clear();
      idle_.clear();
      spawnDone_.wait(lock, [this] { return spawning_ == 0; });
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

  // Starts a worker with `item` as its first. Called with `lock` held; lets
  // go of it while the thread is created.
  bool StartWorker(std::unique_lock<std::mutex>& lock, const WorkItem& item) {
    Worker* worker;
    if (!spare_.empty()) {
      worker = spare_.back();
      spare_.pop_back();
    } else {
      records_.push_back(std::make_unique<Worker>());
      worker = records_.back().get();
    }
    worker->item = item;
    worker->hasItem = true;
    ++live_;
    ++spawning_;
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
      worker->hasItem = false;
      --live_;
      spare_.push_back(worker);
    }
    if (--spawning_ == 0)
      spawnDone_.notify_all();
    return started;
  }

  void WorkerMain(Worker* self) {
    std::unique_lock<std::mutex> lock(mutex_);
    WorkItem item;
    while (NextItem(lock, self, item)) {
      lock.unlock();
      item.function(item.context);
      lock.lock();
    }
    --live_;
    if (!stopped_)
      spare_.push_back(self);
  }

  // The worker's next item: one handed to it, else one from the backlog, else
  // it waits idle. False when the worker is to end: the pool stopped, or it
  // stayed idle for the whole timeout.
  bool NextItem(std::unique_lock<std::mutex>& lock, Worker* self, WorkItem& item) {
    for (;;) {
      if (self->hasItem) {
        self->hasItem = false;
        item = self->item;
        return true;
      }
      if (stopped_)
        return false;
      if (!backlog_.empty()) {
        item = backlog_.front();
        backlog_.pop_front();
        return true;
      }
      idle_.push_back(self);
      if (!WaitIdle(lock, self)) {
        // Nobody handed it an item, so it is still on the idle stack.
        for (auto it = idle_.begin(); it != idle_.end(); ++it) {
          if (*it == self) {
            idle_.erase(it);
            break;
          }
        }
        return false;
      }
    }
  }

  // Waits until the worker is handed an item or the pool stops (true), or
  // until it has been idle for the idle timeout (false). The timeout is read
  // again at every wake, so a change reaches workers that already wait.
  bool WaitIdle(std::unique_lock<std::mutex>& lock, Worker* self) {
    const auto idleSince = std::chrono::steady_clock::now();
    while (!self->hasItem && !stopped_) {
      const auto until = idleSince + idleTimeout_;
      if (std::chrono::steady_clock::now() >= until)
        return false;
      self->wake.wait_until(lock, until);
    }
    return true;
  }

  std::mutex shutdownMutex_;
  std::mutex mutex_;
  std::condition_variable spawnDone_;
  // Guarded by `mutex_`.
  std::vector<std::unique_ptr<Worker>> records_;  // every record ever made
  std::vector<Worker*> idle_;                     // idle workers, latest last
  std::vector<Worker*> spare_;                    // records whose worker ended
  std::deque<WorkItem> backlog_;                  // items beyond the cap
  std::size_t live_ = 0;
  std::size_t spawning_ = 0;
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
