// Events and waitable timers are the system's kernel objects; wait.cpp has
// already refused what the system would take wrongly.
#include "platform/wait.h"

namespace base::platform {

HANDLE CreateSystemEvent(bool manualReset, bool initiallySignalled) {
  return ::CreateEventW(nullptr, manualReset, initiallySignalled, nullptr);
}

bool SetSystemEvent(HANDLE event) {
  return ::SetEvent(event);
}

bool ResetSystemEvent(HANDLE event) {
  return ::ResetEvent(event);
}

HANDLE CreateSystemWaitableTimer() {
  // Not manual reset: a synchronisation timer, taken back by the wait it ends.
  return ::CreateWaitableTimerW(nullptr, FALSE, nullptr);
}

bool SetSystemWaitableTimer(HANDLE timer, std::int64_t dueTime) {
  LARGE_INTEGER due;
  due.QuadPart = dueTime;
  return ::SetWaitableTimer(timer, &due, 0, nullptr, nullptr, FALSE);
}

bool CloseSystemHandle(HANDLE object) {
  return ::CloseHandle(object);
}

std::uint32_t WaitForSystemObjects(std::uint32_t count,
                                   const HANDLE* objects,
                                   std::uint32_t milliseconds) {
  return ::WaitForMultipleObjects(count, objects, FALSE, milliseconds);
}

}  // namespace base::platform
