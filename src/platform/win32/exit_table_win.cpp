#include "platform/exit_table.h"

#include <cstdlib>

namespace base::platform {

// atexit called from code inside a DLL registers with that DLL's own C
// run-time table, which runs at its FreeLibrary (and at process end), last
// entry first, together with the static destructors of the same DLL.
bool AddSystemExitTableEntry(void (*entry)()) {
  return std::atexit(entry) == 0;
}

}  // namespace base::platform
