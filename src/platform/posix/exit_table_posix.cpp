#include "platform/exit_table.h"

// The C++ runtime's registration: the same list that static destructors go
// to, kept per module by the handle of the module that registers.
extern "C" int __cxa_atexit(void (*function)(void*), void* argument, void* module);
extern "C" __attribute__((visibility("hidden"))) void* __dso_handle;

namespace base::platform {
namespace {

void RunEntry(void* entry) {
  reinterpret_cast<void (*)()>(entry)();
}

}  // namespace

// glibc's atexit, called from inside a shared object, registers with that
// object's __dso_handle. It is called here by that name directly: the
// sanitizers' runtimes intercept atexit and register with no module at all,
// so that an entry would run only at process end, after dlclose had unmapped
// its code. With the handle, an entry runs at its module's dlclose, in the
// common LIFO order with the static destructors of the same module.
bool AddSystemExitTableEntry(void (*entry)()) {
  return __cxa_atexit(&RunEntry, reinterpret_cast<void*>(entry), &__dso_handle) == 0;
}

}  // namespace base::platform
