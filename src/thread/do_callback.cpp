#include "base/thread_task.h"
#include "base/timer.h"

namespace OrvThread::thisThreadTask {

// A one-shot callback timer of 1 ms without an id: the delegate runs on the
// thread that owns the timers' window, and nothing here waits for it, can
// cancel it or learns whether it ran.
void DoCallback(Method<void()> method) {
  SetTimeCallback(1, method, 0);
}

}  // namespace OrvThread::thisThreadTask
