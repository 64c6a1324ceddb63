// Events and waitable timers are the system's kernel objects. The wrappers
// add only what the vocabulary promises beyond the system: 0 and
// INVALID_HANDLE_VALUE are refused (the latter is the current process to the
// system, which a wait would wait on for ever), and so is a handle that
// appears twice in one wait.
#include "platform/wait.h"

#include <atomic>

#include "platform/testing/wait_testing.h"

namespace base::platform {
namespace {

std::atomic<std::uint64_t> g_timersCreated{0};
std::atomic<bool> g_failNextEvent{false};

bool IsObject(HANDLE handle) {
  return handle != nullptr && handle != INVALID_HANDLE_VALUE;
}

bool ValidWaitList(std::uint32_t count, const HANDLE* objects) {
  if (count == 0 || count > kMaxWaitObjects)
    return false;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (!IsObject(objects[i]))
      return false;
    for (std::uint32_t j = 0; j < i; ++j) {
      if (objects[j] == objects[i])
        return false;
    }
  }
  return true;
}

}  // namespace

HANDLE CreateEvent(bool manualReset, bool initiallySignalled) {
  if (g_failNextEvent.exchange(false))
    return nullptr;
  return ::CreateEventW(nullptr, manualReset, initiallySignalled, nullptr);
}

bool SetEvent(HANDLE event) {
  return IsObject(event) && ::SetEvent(event);
}

bool ResetEvent(HANDLE event) {
  return IsObject(event) && ::ResetEvent(event);
}

HANDLE CreateWaitableTimer() {
  // Not manual reset: a synchronisation timer, taken back by the wait it ends.
  HANDLE timer = ::CreateWaitableTimerW(nullptr, FALSE, nullptr);
  if (timer != nullptr)
    g_timersCreated.fetch_add(1, std::memory_order_relaxed);
  return timer;
}

bool SetWaitableTimer(HANDLE timer, std::int64_t dueTime) {
  LARGE_INTEGER due;
  due.QuadPart = dueTime;
  return IsObject(timer) && ::SetWaitableTimer(timer, &due, 0, nullptr, nullptr, FALSE);
}

bool CloseHandle(HANDLE object) {
  return IsObject(object) && ::CloseHandle(object);
}

std::uint32_t WaitForSingleObject(HANDLE object, std::uint32_t milliseconds) {
  if (!IsObject(object))
    return WAIT_FAILED;
  return ::WaitForSingleObject(object, milliseconds);
}

std::uint32_t WaitForMultipleObjects(std::uint32_t count,
                                     const HANDLE* objects,
                                     std::uint32_t milliseconds) {
  if (!ValidWaitList(count, objects))
    return WAIT_FAILED;
  return ::WaitForMultipleObjects(count, objects, FALSE, milliseconds);
}

namespace testing {

std::uint64_t WaitableTimersCreated() {
  return g_timersCreated.load(std::memory_order_relaxed);
}

void FailNextEventCreation() {
  g_failNextEvent = true;
}

}  // namespace testing
}  // namespace base::platform
