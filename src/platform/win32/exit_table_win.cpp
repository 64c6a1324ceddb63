#include "platform/exit_table.h"

#include <atomic>
#include <cstdlib>

#include "platform/testing/exit_table_testing.h"

namespace base::platform {
namespace {

std::atomic<unsigned> g_entriesAdded{0};

}  // namespace

// atexit called from code inside a DLL registers with that DLL's own C
// run-time table, which runs at its FreeLibrary (and at process end), last
// entry first, together with the static destructors of the same DLL.
bool AddExitTableEntry(void (*entry)()) {
  g_entriesAdded.fetch_add(1, std::memory_order_relaxed);
  return std::atexit(entry) == 0;
}

namespace testing {

unsigned ExitTableEntriesAdded() {
  return g_entriesAdded.load(std::memory_order_relaxed);
}

}  // namespace testing
}  // namespace base::platform
