#include "platform/thread.h"

#include <sched.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

#include "base/platform.h"
#include "platform/posix/blocking_wait_posix.h"

namespace base::platform {

// The kernel's thread id: unique among live threads, and the number that
// debuggers and /proc show. Cached, since task code asks for it on every call.
std::uint32_t CurrentThreadId() {
  thread_local const std::uint32_t id = static_cast<std::uint32_t>(gettid());
  return id;
}

void Sleep(std::uint32_t milliseconds) {
  if (milliseconds == 0) {
    sched_yield();
    return;
  }
  ScopedBlockingWait blocking;  // a pool worker lets queued items go to another
  if (milliseconds == INFINITE) {
    for (;;)
      pause();
  }
  timespec until;
  clock_gettime(CLOCK_MONOTONIC, &until);
  until.tv_sec += milliseconds / 1000;
  until.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
  if (until.tv_nsec >= 1000000000) {
    until.tv_nsec -= 1000000000;
    ++until.tv_sec;
  }
  // An absolute deadline, so that signals that interrupt the sleep do not
  // stretch it.
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
}

}  // namespace base::platform
