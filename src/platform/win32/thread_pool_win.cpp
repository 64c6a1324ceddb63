// Work items go to the system's thread pool, which grows when its threads
// block, as the library's tasks require. The pool's threads belong to the
// process, so an unload cannot join them. Instead every item is a member of
// the module's cleanup group, and the unload waits for the group's members:
// the system counts an item done only once its callback has returned into the
// pool, so FreeLibrary never unmaps code that a worker is still in.
//
// The trap: a count kept by the items themselves cannot give that. The item
// that signals "none left" still returns through this module's code after the
// signal, and an unload woken by it unmapped that code under it (seen under
// load as a fault executing in the freed module). So this uses the pool API
// with callback environments rather than QueueUserWorkItem, and needs
// Windows Vista or later.
//
// The second trap: at process end the system has already killed the other
// threads when the module's statics go, so an item may never be counted done;
// the wait is skipped then, as nothing is left to unmap under a live thread.
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

struct WorkItem {
  WorkItemFunction function;
  void* context;
};

void CALLBACK RunWorkItem(PTP_CALLBACK_INSTANCE, void* parameter) {
  const WorkItem item = *static_cast<WorkItem*>(parameter);
  delete static_cast<WorkItem*>(parameter);
  item.function(item.context);
}

// The module's share of the system pool: one cleanup group, and an
// environment for short items and one for items that run long.
class ModuleItems {
 public:
  static ModuleItems& Instance() {
    static ModuleItems items;
    return items;
  }

  ModuleItems() : group_(::CreateThreadpoolCleanupGroup()) {
    ::InitializeThreadpoolEnvironment(&shortItems_);
    ::InitializeThreadpoolEnvironment(&longItems_);
    ::SetThreadpoolCallbackRunsLong(&longItems_);
    if (group_ != nullptr) {
      ::SetThreadpoolCallbackCleanupGroup(&shortItems_, group_, nullptr);
      ::SetThreadpoolCallbackCleanupGroup(&longItems_, group_, nullptr);
    }
  }
  ModuleItems(const ModuleItems&) = delete;
  ModuleItems& operator=(const ModuleItems&) = delete;
  ~ModuleItems() {
    Shutdown();
    ::DestroyThreadpoolEnvironment(&shortItems_);
    ::DestroyThreadpoolEnvironment(&longItems_);
    if (group_ != nullptr)
      ::CloseThreadpoolCleanupGroup(group_);
  }

  // False once shut down, or when the group could not be made.
  bool Submit(WorkItem* item, bool runsLong) {
    if (group_ == nullptr || shutDown_.load())
      return false;
    return ::TrySubmitThreadpoolCallback(&RunWorkItem, item,
                                         runsLong ? &longItems_ : &shortItems_) != FALSE;
  }

  // Items that have not started still run: a cleanup group cancels only
  // callbacks it can free, and an item's WorkItem is freed by its run.
  void Shutdown() {
    if (shutDown_.exchange(true) || group_ == nullptr || ProcessIsEnding())
      return;
    ::CloseThreadpoolCleanupGroupMembers(group_, FALSE, nullptr);
  }

 private:
  PTP_CLEANUP_GROUP group_;
  TP_CALLBACK_ENVIRON shortItems_;
  TP_CALLBACK_ENVIRON longItems_;
  std::atomic<bool> shutDown_{false};
};

}  // namespace

bool QueueWorkItem(WorkItemFunction function, void* context, std::uint32_t flags) {
  if (function == nullptr || g_failNextItem.exchange(false))
    return false;
  auto* item = new (std::nothrow) WorkItem{function, context};
  if (item == nullptr)
    return false;
  if (!ModuleItems::Instance().Submit(item, (flags & kWorkItemLongFunction) != 0)) {
    delete item;
    return false;
  }
  return true;
}

void ShutdownThreadPool() {
  ModuleItems::Instance().Shutdown();
}

namespace testing {

void FailNextWorkItem() {
  g_failNextItem = true;
}

}  // namespace testing
}  // namespace base::platform
