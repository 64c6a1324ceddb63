#include "platform/message_window_controls.h"

#include <atomic>

#include "platform/testing/message_window_testing.h"

namespace base::platform::controls {
namespace {

std::atomic<unsigned> g_creationsToFail{0};
std::atomic<unsigned> g_postsToFail{0};
std::atomic<void (*)(WindowHandle)> g_destructionObserver{nullptr};

bool TakeFailure(std::atomic<unsigned>& toFail) {
  unsigned left = toFail.load(std::memory_order_relaxed);
  while (left != 0 && !toFail.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) {
  }
  return left != 0;
}

}  // namespace

bool TakeCreationFailure() {
  return TakeFailure(g_creationsToFail);
}

bool TakePostFailure() {
  return TakeFailure(g_postsToFail);
}

void ReportDestruction(WindowHandle window) {
  if (const auto observer = g_destructionObserver.load(std::memory_order_relaxed))
    observer(window);
}

}  // namespace base::platform::controls

namespace base::platform::testing {

void FailWindowCreations(unsigned count) {
  controls::g_creationsToFail.store(count, std::memory_order_relaxed);
}

void FailWindowPosts(unsigned count) {
  controls::g_postsToFail.store(count, std::memory_order_relaxed);
}

void ObserveWindowDestruction(void (*observer)(WindowHandle window)) {
  controls::g_destructionObserver.store(observer, std::memory_order_relaxed);
}

}  // namespace base::platform::testing
