// Thread tasks: a Method<void()> run once on a thread of the library's pool,
// with a counted pointer to wait for it and to ask it to stop.
//
// PostThreadTask launches a task and returns a ThreadTaskPtr. Dropping the
// pointer does not stop the task; it runs to its end and its worker frees it.
// Interruption is cooperative: Interrupt only raises a request, and the task
// sees it at its next interruption point (thisThreadTask::InterruptionPoint,
// InterruptibleWait, Sleep), where TaskInterrupted is thrown. A run that lets
// the exception out simply ends.
//
// Threading: PostThreadTask, ThreadTaskPtr and the members of ThreadTaskBase
// may be used from any thread (one ThreadTaskPtr value by one thread at a
// time). The functions of thisThreadTask concern the calling thread's own task
// and work on any thread; on a thread without a task they wait and sleep
// plainly. InitThreadManagement is called once, before the first task;
// FInitThreadManagement before the library is unloaded, never from a task.
// The two exception classes carry nothing but their type.
#ifndef BASE_THREAD_TASK_H_
#define BASE_THREAD_TASK_H_

#include <cstdint>

#include "base/export.h"
#include "base/method.h"
#include "base/platform.h"

namespace OrvThread {

// Thrown by PostThreadTask when a task's events cannot be created.
class BASE_EXPORT ResourceError {};

class ThreadTask;

namespace Detail {

// Library-internal access to the fields of a task.
struct TaskAccess;

// The deadline of a wait: `milliseconds` from the tick `start`. Because the
// start travels with the value, one wait_timeout used for several waits in a
// row keeps one deadline. INFINITE means no deadline; the longest finite
// timeout is INFINITE - 1.
struct wait_timeout {
  // A timeout that begins now.
  explicit wait_timeout(std::uint32_t timeoutMilliseconds)
      : start(GetTickCount()), milliseconds(timeoutMilliseconds) {}
  wait_timeout(std::uint32_t startTick, std::uint32_t timeoutMilliseconds)
      : start(startTick), milliseconds(timeoutMilliseconds) {}

  std::uint32_t start;
  std::uint32_t milliseconds;
};

}  // namespace Detail

// What every task has: a reference count, the two events that carry an
// interruption request and the end of the run, the interruption flag of the
// run, and an id. The field order is part of the interface.
class BASE_EXPORT ThreadTaskBase {
 public:
  // Throws ResourceError if an event cannot be created; no id is used then.
  ThreadTaskBase();
  ThreadTaskBase(const ThreadTaskBase&) = delete;
  ThreadTaskBase& operator=(const ThreadTaskBase&) = delete;
  virtual ~ThreadTaskBase();

  virtual void Run() = 0;

  // 1 for the first task of the process, rising by one per task.
  std::uint32_t GetId() const;
  // Raises the request; it stays pending until a point of the run takes it.
  // Works in every state of the task, also after the end.
  void Interrupt();
  // True while a request is pending; does not take it.
  bool IsInterruptionRequested() const;
  // Plain waits for the end of the run, not interruption points. A task must
  // not join itself. TimedJoin(0) polls; TimedJoin(INFINITE) is Join.
  void Join();
  bool TimedJoin(std::uint32_t milliseconds);

 private:
  friend struct Detail::TaskAccess;

  volatile LONG refCount;
  HANDLE interruptionEvent;  // manual reset; signalled: a request is pending
  HANDLE finishedEvent;      // manual reset; signalled for good at the end
  bool interruptionEnabled;  // only the thread of the run touches it
  std::uint32_t id;
};

// The task that PostThreadTask makes: the base with its own copy of the
// delegate, which lives until the task is freed. Only the library makes one.
class ThreadTask : public ThreadTaskBase {
 public:
  explicit ThreadTask(const Method<void()>& work);
  ~ThreadTask() override;

  // Runs the delegate if it is there and still valid.
  void Run() override;

 private:
  Method<void()> method;
};

// A counted pointer to a task. An empty one holds no reference. The last
// reference to go frees the task, on whichever thread drops it.
class BASE_EXPORT ThreadTaskPtr {
 public:
  ThreadTaskPtr();
  explicit ThreadTaskPtr(ThreadTask* task);
  ThreadTaskPtr(const ThreadTaskPtr& other);
  ~ThreadTaskPtr();

  void operator=(ThreadTask* task);
  void operator=(ThreadTaskPtr& other);

  // An empty pointer compares equal to null: that is how a refused launch shows.
  bool operator==(ThreadTask* other) const;
  operator ThreadTask*() const;
  // The caller's fault on an empty pointer.
  ThreadTask* operator->() const;

 private:
  ThreadTask* task;
};

// Creates the manager of all tasks once. True when it exists afterwards.
BASE_EXPORT bool InitThreadManagement();
// Interrupts every listed task and waits for each, without a time limit.
// Tasks may be posted again afterwards.
BASE_EXPORT void FInitThreadManagement();

// Makes a task of `method` and queues it. Returns an empty pointer if the pool
// refused the work; throws ResourceError if the task's events could not be
// made.
BASE_EXPORT ThreadTaskPtr PostThreadTask(Method<void()> method);

namespace thisThreadTask {

// The request of an interruption, delivered at an interruption point.
class BASE_EXPORT TaskInterrupted {};

// 1 on a thread that runs a task (with a non-zero id), else 0.
BASE_EXPORT std::uint32_t GetId();
// The calling task's flag; false on a thread without a task.
BASE_EXPORT bool IsInterruptionEnabled();
// Whether the calling task has a pending request; does not take it.
BASE_EXPORT bool IsInterruptionRequested();
// Throws TaskInterrupted, and takes the request, if one is pending and
// interruption is enabled.
BASE_EXPORT void InterruptionPoint();

// Waits until `handle` is signalled (true) or the timeout ends (false), and
// throws TaskInterrupted if an interruption comes first. `handle` may be
// INVALID_HANDLE_VALUE to wait for the time or an interruption only. A handle
// that is already signalled wins over a pending request, which stays pending.
// False does not prove the time ran out: a bad handle ends the wait too.
BASE_EXPORT bool InterruptibleWait(void* handle, Detail::wait_timeout timeout);
// Sleeps `milliseconds`, INFINITE for ever, unless interrupted.
BASE_EXPORT void Sleep(std::uint32_t milliseconds);
// Gives up the rest of the time slice. Not an interruption point.
BASE_EXPORT void yield();

// Hands `method` to the thread of the callback timers, to run once at the
// earliest 1 ms later, and returns at once. The run may come after the
// calling task has ended. Not an interruption point.
BASE_EXPORT void DoCallback(Method<void()> method);

// Disables interruption for its scope. Scopes nest: only the outermost one
// enables interruption again at its end. Harmless on a thread without a task.
class BASE_EXPORT DisableInterruption {
 public:
  DisableInterruption();
  DisableInterruption(const DisableInterruption&) = delete;
  DisableInterruption& operator=(const DisableInterruption&) = delete;
  ~DisableInterruption();

 private:
  friend class RestoreInterruption;

  bool wasEnabled;
};

// Inside a DisableInterruption scope, enables interruption again for its own
// scope if `disabler` was the one that disabled it, and disables it at its
// end. On an inner DisableInterruption it changes nothing until its end.
class BASE_EXPORT RestoreInterruption {
 public:
  explicit RestoreInterruption(DisableInterruption& disabler);
  RestoreInterruption(const RestoreInterruption&) = delete;
  RestoreInterruption& operator=(const RestoreInterruption&) = delete;
  ~RestoreInterruption();
};

}  // namespace thisThreadTask
}  // namespace OrvThread

#endif  // BASE_THREAD_TASK_H_
