// The exported entry points of the callback timers.
#include "base/timer.h"

#include "timer/timer_mgr.h"

base::TimerMgr* InitTimeCallback() {
  return base::TimerMgr::Instance();
}

void SetTimeCallback(std::int32_t milliseconds, Method<void()> method, std::uint32_t id) {
  // Null only while the library is being torn down; the call is then dropped.
  if (base::TimerMgr* manager = base::TimerMgr::Instance())
    manager->SetCallback(milliseconds, method, id);
}

bool KillTimeCallback(std::uint32_t id) {
  if (id == 0)
    return false;
  base::TimerMgr* manager = base::TimerMgr::Instance();
  return manager != nullptr && manager->KillCallback(id);
}
