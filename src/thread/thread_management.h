// The process-wide list of launched tasks, and the launch itself. Made once by
// InitThreadManagement and never freed.
//
// Threading: every operation takes `tasksLock` itself and lets go of it
// before it returns; no caller holds it across a call. Under the lock only
// list operations, reference counts and Interrupt (which cannot block) run.
#ifndef BASE_THREAD_THREAD_MANAGEMENT_H_
#define BASE_THREAD_THREAD_MANAGEMENT_H_

#include <cstdint>

#include <boost/thread/recursive_mutex.hpp>

#include "thread/task_list.h"

namespace OrvThread {

class ThreadTask;

class ThreadManagement {
 public:
  explicit ThreadManagement(std::uint32_t flags) : queueFlags_(flags) {}
  ThreadManagement(const ThreadManagement&) = delete;
  ThreadManagement& operator=(const ThreadManagement&) = delete;

  // Queues the run of `task` and lists it. The caller must hold a reference:
  // the worker's reference is taken before the run can start, and the run may
  // end before this returns. False if the pool refused; nothing has changed
  // then.
  bool AddTask(ThreadTask* task);
  // Takes `task` off the list if it is there, in constant time.
  void RemoveTask(ThreadTask* task);
  void InterruptAll();
  // Joins every task listed at the moment of the call, in list order, with no
  // lock held during the joins.
  void JoinAll();
  // Empties the list; the tasks and their counts are left as they are.
  void ClearTasks();

  std::uint32_t QueueFlags() const { return queueFlags_; }

 private:
  // Launch order. Holds no references: a task leaves in ReleaseTask before it
  // is freed, so a listed task is alive for as long as the lock is held.
  TaskList tasks_;
  // The required lock: boost::recursive_mutex, not a std one (docs/frozen-names.md).
  boost::recursive_mutex tasksLock_;
  const std::uint32_t queueFlags_;
};

// Null until InitThreadManagement, then the same object for good.
ThreadManagement* GetThreadManagement();

}  // namespace OrvThread

#endif  // BASE_THREAD_THREAD_MANAGEMENT_H_
