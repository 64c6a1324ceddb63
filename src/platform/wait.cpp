// What every backend's waitable objects share: the refusal of handles that
// never name an object and of malformed wait lists, and the test seams. The
// backends provide the objects themselves (the System* calls of wait.h).
#include "platform/wait.h"

#include <atomic>

#include "platform/testing/wait_testing.h"

namespace base::platform {
namespace {

std::atomic<std::uint64_t> g_timersCreated{0};
std::atomic<bool> g_failNextEvent{false};
std::atomic<unsigned> g_waitsInProgress{0};

// INVALID_HANDLE_VALUE is the current process to Windows, which a wait would
// wait on for ever; on posix neither value can name an object.
bool IsObject(HANDLE handle) {
  return handle != nullptr && handle != INVALID_HANDLE_VALUE;
}

bool ValidWaitList(std::uint32_t count, const HANDLE* objects) {
  if (count == 0 || count > kMaxWaitObjects || objects == nullptr)
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
  if (g_failNextEvent.exchange(false, std::memory_order_relaxed))
    return nullptr;
  return CreateSystemEvent(manualReset, initiallySignalled);
}

bool SetEvent(HANDLE event) {
  return IsObject(event) && SetSystemEvent(event);
}

bool ResetEvent(HANDLE event) {
  return IsObject(event) && ResetSystemEvent(event);
}

HANDLE CreateWaitableTimer() {
  HANDLE timer = CreateSystemWaitableTimer();
  if (timer != nullptr)
    g_timersCreated.fetch_add(1, std::memory_order_relaxed);
  return timer;
}

bool SetWaitableTimer(HANDLE timer, std::int64_t dueTime) {
  return IsObject(timer) && SetSystemWaitableTimer(timer, dueTime);
}

bool CloseHandle(HANDLE object) {
  return IsObject(object) && CloseSystemHandle(object);
}

std::uint32_t WaitForSingleObject(HANDLE object, std::uint32_t milliseconds) {
  return WaitForMultipleObjects(1, &object, milliseconds);
}

std::uint32_t WaitForMultipleObjects(std::uint32_t count,
                                     const HANDLE* objects,
                                     std::uint32_t milliseconds) {
  if (!ValidWaitList(count, objects))
    return WAIT_FAILED;
  // A poll never waits; leaving it uncounted keeps the shared counter off the
  // hot path.
  if (milliseconds == 0)
    return WaitForSystemObjects(count, objects, 0);
  g_waitsInProgress.fetch_add(1, std::memory_order_relaxed);
  const std::uint32_t result = WaitForSystemObjects(count, objects, milliseconds);
  g_waitsInProgress.fetch_sub(1, std::memory_order_relaxed);
  return result;
}

namespace testing {

std::uint64_t WaitableTimersCreated() {
  return g_timersCreated.load(std::memory_order_relaxed);
}

void FailNextEventCreation() {
  g_failNextEvent.store(true, std::memory_order_relaxed);
}

unsigned WaitsInProgress() {
  return g_waitsInProgress.load(std::memory_order_relaxed);
}

}  // namespace testing
}  // namespace base::platform
