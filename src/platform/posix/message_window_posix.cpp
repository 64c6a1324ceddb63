#include "platform/message_window.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <unordered_map>

#include "platform/message_window_controls.h"
#include "platform/posix/message_queue_posix.h"
#include "platform/posix/message_thread_posix.h"

namespace base::platform {
namespace {

// What kMessageCreate's lparam points to on this backend.
struct WindowCreation {
  void* parameter;
};

// Window classes and live windows of the process. Handles are numbers handed
// out once, so a stale handle finds nothing instead of another window.
struct Registry {
  std::mutex mutex;
  std::map<std::wstring, WindowProcedure> classes;
  std::unordered_map<WindowHandle, std::shared_ptr<Window>> windows;
  std::uintptr_t lastHandle = 0x1000;
};

// Made at load and destroyed after the exit-table entries that the library
// adds at run time, which destroy their windows at unload.
Registry g_registry;

std::shared_ptr<Window> FindRegistered(WindowHandle handle) {
  std::lock_guard<std::mutex> lock(g_registry.mutex);
  auto it = g_registry.windows.find(handle);
  return it == g_registry.windows.end() ? nullptr : it->second;
}

// A looked-up window. Valid until the calling thread's next lookup: use it at
// once, never across a procedure call.
class Found {
 public:
  Found() = default;
  explicit Found(Window* window) : window_(window) {}
  explicit Found(std::shared_ptr<Window> keep) : window_(keep.get()), keep_(std::move(keep)) {}
  explicit operator bool() const { return window_ != nullptr; }
  Window* operator->() const { return window_; }
  Window& operator*() const { return *window_; }

 private:
  Window* window_ = nullptr;
  std::shared_ptr<Window> keep_;  // only for a thread without a memo
};

// A closed window is looked up anew in the registry, where it is no longer
// found.
Found Find(WindowHandle handle) {
  RecentWindows* memo = CurrentRecentWindows();
  if (!memo)
    return Found(FindRegistered(handle));
  RecentWindows& recent = *memo;
  for (unsigned i = 0; i < RecentWindows::kSize; ++i) {
    if (recent.handles[i] == handle) {
      if (!recent.windows[i]->closed.load(std::memory_order_acquire))
        return Found(recent.windows[i].get());
      break;
    }
  }
  std::shared_ptr<Window> window = FindRegistered(handle);
  if (!window)
    return Found();
  const unsigned slot = recent.next++ % RecentWindows::kSize;
  recent.handles[slot] = handle;
  recent.windows[slot] = std::move(window);
  return Found(recent.windows[slot].get());
}

std::shared_ptr<Window> Register(const wchar_t* className, MessageQueue& queue) {
  std::lock_guard<std::mutex> lock(g_registry.mutex);
  auto cls = g_registry.classes.find(className);
  if (cls == g_registry.classes.end())
    return nullptr;
  g_registry.lastHandle += 4;
  const auto handle = reinterpret_cast<WindowHandle>(g_registry.lastHandle);
  auto window = std::make_shared<Window>(handle, cls->second, queue.shared_from_this());
  g_registry.windows.emplace(handle, window);
  return window;
}

// Ends a destruction once kMessageDestroy has been handled, even if the
// procedure threw: the window must not stay half destroyed.
class FinishDestruction {
 public:
  explicit FinishDestruction(Window& window) : window_(window) {}
  FinishDestruction(const FinishDestruction&) = delete;
  FinishDestruction& operator=(const FinishDestruction&) = delete;
  ~FinishDestruction() {
    {
      std::lock_guard<std::mutex> lock(g_registry.mutex);
      g_registry.windows.erase(window_.handle);
    }
    window_.queue->Close(window_);
    window_.queue->RemoveWindow(window_.handle);
  }

 private:
  Window& window_;
};

}  // namespace

bool RegisterWindowClass(const wchar_t* className, WindowProcedure procedure) {
  if (!className || !procedure)
    return false;
  std::lock_guard<std::mutex> lock(g_registry.mutex);
  return g_registry.classes.emplace(className, procedure).second;
}

WindowHandle CreateMessageWindow(const wchar_t* className,
                                 const wchar_t* /*windowName: no window list here*/,
                                 void* creationParameter) {
  if (controls::TakeCreationFailure())
    return nullptr;
  MessageQueue* queue = className ? CurrentQueue() : nullptr;
  if (!queue)
    return nullptr;
  const std::shared_ptr<Window> window = Register(className, *queue);
  if (!window)
    return nullptr;
  queue->AddWindow(window->handle);
  WindowCreation creation{creationParameter};
  const std::intptr_t result = window->procedure(window->handle, kMessageCreate, 0,
                                                 reinterpret_cast<std::intptr_t>(&creation));
  if (result == -1) {
    // Made on this thread a moment ago, so the owner destroys it: no failure.
    std::ignore = DestroyMessageWindow(window->handle);
    return nullptr;
  }
  // The procedure may have destroyed the window itself.
  return FindRegistered(window->handle) ? window->handle : nullptr;
}

void* CreationParameter(std::intptr_t createLParam) {
  return reinterpret_cast<const WindowCreation*>(createLParam)->parameter;
}

bool DestroyMessageWindow(WindowHandle handle) {
  const std::shared_ptr<Window> window = FindRegistered(handle);
  if (!window || window->queue.get() != CurrentQueueIfAny() || window->destroying)
    return false;
  window->destroying = true;
  controls::ReportDestruction(handle);
  FinishDestruction finish(*window);
  window->procedure(handle, kMessageDestroy, 0, 0);
  return true;
}

std::intptr_t DefaultWindowProcedure(WindowHandle, std::uint32_t, std::uintptr_t, std::intptr_t) {
  return 0;
}

std::intptr_t SetWindowWord0(WindowHandle handle, std::intptr_t value) {
  const Found window = Find(handle);
  return window ? window->word0.exchange(value) : 0;
}

std::intptr_t GetWindowWord0(WindowHandle handle) {
  const Found window = Find(handle);
  return window ? window->word0.load() : 0;
}

bool PostWindowMessage(WindowHandle handle,
                       std::uint32_t message,
                       std::uintptr_t wparam,
                       std::intptr_t lparam) {
  if (controls::TakePostFailure())
    return false;
  const Found window = Find(handle);
  return window && window->queue->Post(*window, message, wparam, lparam);
}

bool SetWindowTimer(WindowHandle handle, std::uintptr_t id, std::uint32_t periodMs) {
  const Found window = Find(handle);
  return window && window->queue->SetTimer(*window, id, periodMs);
}

bool KillWindowTimer(WindowHandle handle, std::uintptr_t id) {
  const Found window = Find(handle);
  return window && window->queue->KillTimer(*window, id);
}

}  // namespace base::platform
