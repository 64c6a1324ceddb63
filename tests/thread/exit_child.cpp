// A host that returns from main while its tasks still wait: one asleep for
// good, one in a wait for an event that nobody signals. The process must end
// anyway, with the status that main returned.
#include "base/method.h"
#include "base/platform.h"
#include "base/thread_task.h"

int main() {
  OrvThread::InitThreadManagement();
  HANDLE never = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  HANDLE asleep = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  HANDLE waiting = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  OrvThread::ThreadTaskPtr sleeper = OrvThread::PostThreadTask(MakeMethod([asleep] {
    SetEvent(asleep);
    OrvThread::thisThreadTask::Sleep(INFINITE);
  }));
  OrvThread::ThreadTaskPtr waiter = OrvThread::PostThreadTask(MakeMethod([never, waiting] {
    SetEvent(waiting);
    OrvThread::thisThreadTask::InterruptibleWait(never, OrvThread::Detail::wait_timeout(INFINITE));
  }));
  if (WaitForSingleObject(asleep, 10000) != WAIT_OBJECT_0 ||
      WaitForSingleObject(waiting, 10000) != WAIT_OBJECT_0)
    return 2;
  return 7;
}
