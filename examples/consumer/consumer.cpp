// The smallest module: names an object by a process-wide handle, looks the
// handle up again, and lets an exit notification release it.
#include <cstdio>

#include "base/exit_notify.h"
#include "base/handle_pool.h"

namespace {

int g_shared = 42;

void ReleaseAtExit(void* param) {
  GlobalHandleCloseHandle(*static_cast<unsigned int*>(param));
  std::puts("exit notification: handle closed");
}

}  // namespace

int main() {
  unsigned int handle = 0;
  if (GlobalHandleAllocateHandle(&g_shared, &handle) != HandleResultOk)
    return 1;
  st_handle_entry entry;
  if (GlobalHandleGetEntry(handle, &entry) != HandleResultOk || entry.object != &g_shared)
    return 1;
  std::printf("handle %u names the shared object (%d)\n", handle, *static_cast<int*>(entry.object));
  AddExitCallBack(ReleaseAtExit, &handle);
  NotifyExit();
  GlobalHandleGetEntry(handle, &entry);
  return entry.state == HandleStateClosed ? 0 : 1;
}
