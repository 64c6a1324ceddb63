// Waits that an interruption can break.
//
// The wait list holds, in this order, the caller's handle, the task's
// interruption event (if interruption is enabled) and, for a finite wait of
// more than 20 ms, a one-shot timer armed for the deadline. The lower place
// wins when several are signalled: the handle before the interruption, the
// interruption before the timer. A wait of at most 20 ms costs no timer; the
// wait call's own timeout ends it.
//
// Passes: a finite wait is one pass. An infinite one waits 0xFFFFFFFE ms at a
// time; a pass that ends without notification adds 2 to the copy of the
// timeout, which takes INFINITE to 1 ms, so a wait call that fails at once
// (a bad handle) ends the wait after a second, short pass instead of spinning.
#include <cstdint>

#include "base/thread_task.h"
#include "platform/clock.h"
#include "platform/thread.h"
#include "platform/wait.h"
#include "thread/current_task_map.h"
#include "thread/task_access.h"

namespace OrvThread {
namespace {

// A wait with more time left than this uses a timer.
constexpr std::uint32_t kTimerThresholdMs = 20;
// The longest single wait of a pass, one below INFINITE.
constexpr std::uint32_t kLongestWaitMs = 0xFFFFFFFE;
constexpr std::int64_t kHundredNsPerMs = 10000;

struct Remaining {
  bool more;                   // an infinite timeout: another pass may follow
  std::uint32_t milliseconds;  // the time of this pass
};

// Tick differences are taken modulo 2^32, so a wait runs across a wrap.
Remaining RemainingTime(const Detail::wait_timeout& timeout) {
  if (timeout.milliseconds == INFINITE)
    return {true, kLongestWaitMs};
  const std::uint32_t elapsed = base::platform::TickCount() - timeout.start;
  return {false, elapsed < timeout.milliseconds ? timeout.milliseconds - elapsed : 0};
}

// The timer's due time in 100 ns units, negative for "relative to now", 0 for
// "at once" when the deadline has passed.
std::int64_t DueTime(const Detail::wait_timeout& timeout) {
  const std::uint32_t elapsed = base::platform::TickCount() - timeout.start;
  const std::int64_t left = static_cast<std::int64_t>(timeout.milliseconds) - elapsed;
  return left > 0 ? -left * kHundredNsPerMs : 0;
}

// The deadline timer of one wait. Closed on every way out of the wait, the
// exception of an interruption included.
class DeadlineTimer {
 public:
  DeadlineTimer() = default;
  DeadlineTimer(const DeadlineTimer&) = delete;
  DeadlineTimer& operator=(const DeadlineTimer&) = delete;
  ~DeadlineTimer() {
    if (handle_ != nullptr)
      base::platform::CloseHandle(handle_);
  }

  // True if the timer is armed for the deadline of `timeout`. A timer that
  // cannot be armed stays open until the wait ends, out of the wait list.
  bool Arm(const Detail::wait_timeout& timeout) {
    handle_ = base::platform::CreateWaitableTimer();
    return handle_ != nullptr && base::platform::SetWaitableTimer(handle_, DueTime(timeout));
  }

  HANDLE handle() const { return handle_; }

 private:
  HANDLE handle_ = nullptr;
};

// The index of an object that is not in the wait list: one that no wait
// reports (WAIT_TIMEOUT and WAIT_FAILED are far above it).
constexpr std::uint32_t kNotListed = base::platform::kMaxWaitObjects;

}  // namespace

namespace thisThreadTask {

bool InterruptibleWait(void* handle, Detail::wait_timeout timeout) {
  HANDLE list[base::platform::kMaxWaitObjects];
  std::uint32_t count = 0;
  std::uint32_t handleIndex = kNotListed;
  std::uint32_t interruptionIndex = kNotListed;
  std::uint32_t timerIndex = kNotListed;

  if (handle != INVALID_HANDLE_VALUE) {
    handleIndex = count;
    list[count++] = handle;
  }
  // Decided once: only this thread writes the flag, so it cannot change
  // during the wait.
  ThreadTask* task = g_currentTaskMap.CurrentTask();
  if (task != nullptr && Detail::TaskAccess::InterruptionEnabled(task)) {
    interruptionIndex = count;
    list[count++] = Detail::TaskAccess::InterruptionEvent(task);
  }
  DeadlineTimer timer;
  if (timeout.milliseconds != INFINITE && RemainingTime(timeout).milliseconds > kTimerThresholdMs &&
      timer.Arm(timeout)) {
    timerIndex = count;
    list[count++] = timer.handle();
  }
  const bool timerDriven = timerIndex != kNotListed;

  Remaining pass{false, 0};
  do {
    if (!timerDriven)
      pass = RemainingTime(timeout);
    if (count == 0) {
      base::platform::Sleep(pass.milliseconds);
    } else {
      const std::uint32_t result = base::platform::WaitForMultipleObjects(
          count, list, timerDriven ? INFINITE : pass.milliseconds);
      const std::uint32_t index = result - WAIT_OBJECT_0;
      if (index == handleIndex)
        return true;
      if (index == interruptionIndex)
        InterruptionPoint();  // resets the request and throws
      if (index == timerIndex)
        return false;
      // A time-out or a failed wait: the pass ends without notification.
    }
    timeout.milliseconds -= kLongestWaitMs;
  } while (pass.more);
  return false;
}

void Sleep(std::uint32_t milliseconds) {
  InterruptibleWait(INVALID_HANDLE_VALUE,
                    Detail::wait_timeout(base::platform::TickCount(), milliseconds));
}

}  // namespace thisThreadTask
}  // namespace OrvThread
