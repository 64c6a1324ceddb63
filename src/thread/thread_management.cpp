#include "thread/thread_management.h"

#include <new>
#include <vector>

#include "base/thread_task.h"
#include "platform/os_version.h"
#include "platform/thread_pool.h"
#include "thread/task_access.h"
#include "thread/task_lifecycle.h"

namespace OrvThread {
namespace {

using Lock = boost::unique_lock<boost::recursive_mutex>;

ThreadManagement* g_threadManagement = nullptr;

// The object is made once and never destroyed. It lives in static storage
// rather than on the heap, so that once its tasks are stopped nothing of it
// outlives an unload of the library.
alignas(ThreadManagement) unsigned char g_threadManagementStorage[sizeof(ThreadManagement)];

// The pool's hint for long functions, set on systems before major version 6.
// A failed query counts as version 0.
std::uint32_t QueueFlagsForThisSystem() {
  std::uint32_t major = 0;
  base::platform::QueryOsMajorVersion(major);
  return major < 6 ? base::platform::kWorkItemLongFunction : 0;
}

}  // namespace

bool ThreadManagement::AddTask(ThreadTask* task) {
  volatile LONG* refCount = Detail::TaskAccess::RefCount(task);
  // The worker's reference exists before the item can run, and the caller's
  // keeps the task alive if the run ends before the task is listed.
  InterlockedIncrement(refCount);
  if (!base::platform::QueueWorkItem(&RunThreadTask, task, queueFlags_)) {
    InterlockedDecrement(refCount);  // never the last: the caller holds one
    return false;
  }
  Lock hold(tasksLock_);
  tasks_.PushBack(task);
  return true;
}

void ThreadManagement::RemoveTask(ThreadTask* task) {
  Lock hold(tasksLock_);
  tasks_.Remove(task);
}

void ThreadManagement::InterruptAll() {
  Lock hold(tasksLock_);
  tasks_.ForEach([](ThreadTask* task) { task->Interrupt(); });
}

void ThreadManagement::JoinAll() {
  std::vector<ThreadTask*> joining;
  {
    Lock hold(tasksLock_);
    tasks_.ForEach([&joining](ThreadTask* task) {
      // A reference keeps each task alive until its join is done. The trap: a
      // listed task may already be at count 0, its last holder waiting for
      // this lock to take it off the list before freeing it. Such a task has
      // finished (the worker lets go only after the end), so it is skipped,
      // and its count goes back to 0 without a second release.
      volatile LONG* refCount = Detail::TaskAccess::RefCount(task);
      if (InterlockedIncrement(refCount) == 1)
        InterlockedDecrement(refCount);
      else
        joining.push_back(task);
    });
  }
  for (ThreadTask* task : joining) {
    task->Join();
    ReleaseTask(task);
  }
}

void ThreadManagement::ClearTasks() {
  Lock hold(tasksLock_);
  tasks_.Clear();
}

ThreadManagement* GetThreadManagement() {
  return g_threadManagement;
}

bool InitThreadManagement() {
  if (g_threadManagement == nullptr)
    g_threadManagement =
        new (g_threadManagementStorage) ThreadManagement(QueueFlagsForThisSystem());
  return g_threadManagement != nullptr;
}

void FInitThreadManagement() {
  ThreadManagement* management = g_threadManagement;
  if (management == nullptr)
    return;
  management->InterruptAll();
  management->JoinAll();
  management->ClearTasks();
}

}  // namespace OrvThread
