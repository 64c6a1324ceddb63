// The calling thread's view of its own task. Each call looks the task up in
// the map of current tasks; a thread without a task gets the plain answers.
// Only the thread of the run reads or writes `interruptionEnabled`, so the
// flag needs no synchronisation.
#include "base/thread_task.h"
#include "platform/thread.h"
#include "platform/wait.h"
#include "thread/current_task_map.h"
#include "thread/task_access.h"

namespace OrvThread::thisThreadTask {
namespace {

using Detail::TaskAccess;

// Writes the calling task's flag; nothing on a thread without a task.
void SetInterruptionEnabled(bool enabled) {
  if (ThreadTask* task = g_currentTaskMap.CurrentTask())
    TaskAccess::InterruptionEnabled(task) = enabled;
}

}  // namespace

std::uint32_t GetId() {
  ThreadTask* task = g_currentTaskMap.CurrentTask();
  return task != nullptr && TaskAccess::Id(task) != 0 ? 1 : 0;
}

bool IsInterruptionEnabled() {
  ThreadTask* task = g_currentTaskMap.CurrentTask();
  return task != nullptr && TaskAccess::InterruptionEnabled(task);
}

bool IsInterruptionRequested() {
  ThreadTask* task = g_currentTaskMap.CurrentTask();
  return task != nullptr && task->IsInterruptionRequested();
}

void InterruptionPoint() {
  ThreadTask* task = g_currentTaskMap.CurrentTask();
  if (task == nullptr || !TaskAccess::InterruptionEnabled(task))
    return;
  const HANDLE request = TaskAccess::InterruptionEvent(task);
  if (base::platform::WaitForSingleObject(request, 0) != WAIT_OBJECT_0)
    return;
  // Delivery uses the request up: a task that catches the exception and goes
  // on is not interrupted again until the next Interrupt.
  base::platform::ResetEvent(request);
  throw TaskInterrupted();
}

void yield() {
  base::platform::Sleep(0);
}

DisableInterruption::DisableInterruption() : wasEnabled(IsInterruptionEnabled()) {
  if (wasEnabled)
    SetInterruptionEnabled(false);
}

DisableInterruption::~DisableInterruption() {
  SetInterruptionEnabled(wasEnabled);
}

RestoreInterruption::RestoreInterruption(DisableInterruption& disabler) {
  if (disabler.wasEnabled)
    SetInterruptionEnabled(true);
}

// Back to the disabled state of the enclosing scope: a fixed value, not a
// saved one.
RestoreInterruption::~RestoreInterruption() {
  SetInterruptionEnabled(false);
}

}  // namespace OrvThread::thisThreadTask
