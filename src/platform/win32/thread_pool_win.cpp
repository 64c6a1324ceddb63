// Work items go to the system's thread pool, which grows when its threads
// block, as the library's tasks require. The pool's threads belong to the
// process, so an unload cannot join them; instead the module counts its items
// from queueing to their end, and its unload waits until none is left, so
// that FreeLibrary never unmaps code a worker still runs.
//
// The trap: at process end the system has already killed the other threads
// when the module's statics go, so an item may stay counted for ever; the
// wait is skipped then, as nothing is left to unmap under a live thread.
#include "platform/thread_pool.h"

#include <atomic>
#include <new>

#include "base/platform.h"
#include "platform/testing/thread_pool_testing.h"

namespace base::platform {
namespace {

std::atomic<bool> g_failNextItem{false};

bool ProcessIsEnding() {
  using Query = BOOLEAN(WINAPI*)();
  const auto query = reinterpret_cast<Query>(reinterpret_cast<void*>(
      ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress")));
  return query != nullptr && query();
}

// The module's items that are queued or running.
class ItemsInFlight {
 public:
  static ItemsInFlight& Instance() {
    static ItemsInFlight items;
    return items;
  }

  ItemsInFlight() : none_(::CreateEventW(nullptr, TRUE, TRUE, nullptr)) {
    ::InitializeCriticalSection(&lock_);
  }
  ItemsInFlight(const ItemsInFlight&) = delete;
  ItemsInFlight& operator=(const ItemsInFlight&) = delete;
  ~ItemsInFlight() {
    Shutdown();
    ::CloseHandle(none_);
    ::DeleteCriticalSection(&lock_);
  }

  // False once shut down, or if the count cannot be kept.
  bool Enter() {
    ::EnterCriticalSection(&lock_);
    const bool open = !shutDown_ && none_ != nullptr;
    if (open && count_++ == 0)
      ::ResetEvent(none_);
    ::LeaveCriticalSection(&lock_);
    return open;
  }

  void Leave() {
    ::EnterCriticalSection(&lock_);
    if (--count_ == 0)
      ::SetEvent(none_);
    ::LeaveCriticalSection(&lock_);
  }

  void Shutdown() {
    ::EnterCriticalSection(&lock_);
    shutDown_ = true;
    ::LeaveCriticalSection(&lock_);
    if (none_ != nullptr && !ProcessIsEnding())
      ::WaitForSingleObject(none_, INFINITE);
  }

 private:
  CRITICAL_SECTION lock_;
  HANDLE none_;
  unsigned count_ = 0;
  bool shutDown_ = false;
};

struct WorkItem {
  WorkItemFunction function;
  void* context;
};

// The system calls back with its own calling convention (stdcall on 32-bit
// Windows), which a plain WorkItemFunction does not have.
DWORD WINAPI RunWorkItem(void* parameter) {
  const WorkItem item = *static_cast<WorkItem*>(parameter);
  delete static_cast<WorkItem*>(parameter);
  item.function(item.context);
  ItemsInFlight::Instance().Leave();  // the last step that touches the module
  return 0;
}

}  // namespace

bool QueueWorkItem(WorkItemFunction function, void* context, std::uint32_t flags) {
  if (function == nullptr || g_failNextItem.exchange(false))
    return false;
  auto* item = new (std::nothrow) WorkItem{function, context};
  if (item == nullptr)
    return false;
  ItemsInFlight& inFlight = ItemsInFlight::Instance();
  if (!inFlight.Enter()) {
    delete item;
    return false;
  }
  if (!::QueueUserWorkItem(&RunWorkItem, item, flags)) {
    inFlight.Leave();
    delete item;
    return false;
  }
  return true;
}

void ShutdownThreadPool() {
  ItemsInFlight::Instance().Shutdown();
}

namespace testing {

void FailNextWorkItem() {
  g_failNextItem = true;
}

}  // namespace testing
}  // namespace base::platform
