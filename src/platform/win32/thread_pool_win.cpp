// Work items go to the system's thread pool, which grows when its threads
// block, as the library's tasks require. The pool and its threads belong to
// the process, not to this module, so nothing here can join them: that no
// item of this module runs at its unload is the host's duty, through
// OrvThread::FInitThreadManagement before it frees the library.
#include "platform/thread_pool.h"

#include <atomic>
#include <new>

#include "base/platform.h"
#include "platform/testing/thread_pool_testing.h"

namespace base::platform {
namespace {

std::atomic<bool> g_shutDown{false};
std::atomic<bool> g_failNextItem{false};

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
  return 0;
}

}  // namespace

bool QueueWorkItem(WorkItemFunction function, void* context, std::uint32_t flags) {
  if (function == nullptr || g_shutDown.load() || g_failNextItem.exchange(false))
    return false;
  auto* item = new (std::nothrow) WorkItem{function, context};
  if (item == nullptr)
    return false;
  if (!::QueueUserWorkItem(&RunWorkItem, item, flags)) {
    delete item;
    return false;
  }
  return true;
}

void ShutdownThreadPool() {
  g_shutDown = true;
}

namespace testing {

void FailNextWorkItem() {
  g_failNextItem = true;
}

}  // namespace testing
}  // namespace base::platform
