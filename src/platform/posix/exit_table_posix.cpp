#include "platform/exit_table.h"

#include <cstdlib>

namespace base::platform {

// glibc's atexit, called from inside a shared object, registers with that
// object's __dso_handle: the entry runs at its dlclose, in the common LIFO
// order with the static destructors registered by the same object.
bool AddExitTableEntry(void (*entry)()) {
  return std::atexit(entry) == 0;
}

}  // namespace base::platform
