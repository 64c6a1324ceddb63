#include "thread/task_lifecycle.h"

#include "base/thread_task.h"
#include "platform/wait.h"
#include "thread/current_task_map.h"
#include "thread/task_access.h"
#include "thread/task_list.h"
#include "thread/thread_management.h"

namespace OrvThread {
namespace {

// The end of a run. A destructor, so that it also runs while an exception
// other than TaskInterrupted leaves the run. The order is fixed: the event
// first, then the map, then the reference. A joiner may therefore see the end
// while this thread is still in the last steps, which is why the pool is
// joined before the map is destroyed at unload.
//
// The map's lock is dear (each unlock of Boost's shared mutex notifies two
// condition variables), so the end takes it once: the event is task_'s,
// which is what a lookup of this thread's entry would find (only this thread
// changes it), and the entry goes in one step, as nothing on this thread
// could see it emptied first.
class RunEnd {
 public:
  explicit RunEnd(ThreadTask* task) : task_(task) {}
  RunEnd(const RunEnd&) = delete;
  RunEnd& operator=(const RunEnd&) = delete;
  ~RunEnd() {
    base::platform::SetEvent(Detail::TaskAccess::FinishedEvent(task_));
    g_currentTaskMap.EraseCurrentTask();
    ReleaseTask(task_);
  }

 private:
  ThreadTask* const task_;
};

}  // namespace

std::uint32_t RunThreadTask(void* context) {
  ThreadTask* const task = static_cast<ThreadTask*>(context);
  g_currentTaskMap.SetCurrentTask(task);
  RunEnd end(task);
  RunGuarded(task);
  return 0;
}

void RunGuarded(ThreadTask* task) {
  try {
    task->Run();
  } catch (const thisThreadTask::TaskInterrupted&) {
    // An interrupted run ends like one that returned.
  }
}

void NotifyTaskFinished() {
  if (ThreadTask* task = g_currentTaskMap.CurrentTask())
    base::platform::SetEvent(Detail::TaskAccess::FinishedEvent(task));
}

void ReleaseTask(ThreadTask* task) {
  if (InterlockedDecrement(Detail::TaskAccess::RefCount(task)) != 0)
    return;
  GetThreadManagement()->RemoveTask(task);
  delete task;
}

ThreadTaskPtr PostThreadTask(Method<void()> method) {
  // The caller's reference is taken before the launch, so a run that ends
  // before AddTask returns cannot free the task under this function.
  ThreadTaskPtr result(new ListedTask(method));
  if (!GetThreadManagement()->AddTask(result))
    result = static_cast<ThreadTask*>(nullptr);  // the last reference: frees the task
  return result;
}

}  // namespace OrvThread
