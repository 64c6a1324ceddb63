#include "timer/scheduler.h"

#include <tuple>

#include "platform/exit_table.h"

namespace base {
namespace {

CTimerDetail* g_scheduler = nullptr;

}  // namespace

CTimerDetail* GetScheduler() {
  if (g_scheduler)
    return g_scheduler;
  // A full exit table cannot be helped here; the scheduler then stays, as
  // the singletons do.
  std::ignore = platform::AddExitTableEntry(&DeleteScheduler);
  g_scheduler = new CTimerDetail;
  return g_scheduler;
}

void DeleteScheduler() {
  delete g_scheduler;
  g_scheduler = nullptr;
}

}  // namespace base

// The exported face: each call makes the scheduler first, even one that is
// then refused.

bool SetInterval(unsigned int milliseconds, SchedulerCallback callback, void* param, void* owner) {
  return base::GetScheduler()->AddTimer(milliseconds, callback, param, owner, false);
}

bool SetTimeout(unsigned int milliseconds, SchedulerCallback callback, void* param, void* owner) {
  return base::GetScheduler()->AddTimer(milliseconds, callback, param, owner, true);
}

bool EraseTimerCallback(SchedulerCallback callback, void* owner) {
  return base::GetScheduler()->EraseTimer(callback, owner);
}

bool SetIdleCallback(SchedulerCallback callback, void* param, void* owner) {
  return base::GetScheduler()->SetIdleCallback(callback, param, owner);
}

bool EraseIdleCallback(SchedulerCallback callback, void* owner) {
  return base::GetScheduler()->EraseIdleCallback(callback, owner);
}

void NotifyIdle() {
  base::GetScheduler()->NotifyIdle();
}

bool SetAsyncCallback(SchedulerCallback callback, void* param, void* owner) {
  return base::GetScheduler()->SetAsyncCallback(callback, param, owner);
}

bool EraseAsyncCallback(SchedulerCallback callback, void* owner) {
  return base::GetScheduler()->EraseAsyncCallback(callback, owner);
}
