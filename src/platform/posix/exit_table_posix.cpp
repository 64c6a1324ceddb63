#include "platform/exit_table.h"

#include <atomic>

#include "platform/testing/exit_table_testing.h"

// The C++ runtime's registration: the same list that static destructors go
// to, kept per module by the handle of the module that registers.
extern "C" int __cxa_atexit(void (*function)(void*), void* argument, void* module);
extern "C" __attribute__((visibility("hidden"))) void* __dso_handle;

namespace base::platform {
namespace {

std::atomic<unsigned> g_entriesAdded{0};

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
bool AddExitTableEntry(void (*entry)()) {
  g_entriesAdded.fetch_add(1, std::memory_order_relaxed);
  return __cxa_atexit(&RunEntry, reinterpret_cast<void*>(entry), &__dso_handle) == 0;
}

namespace testing {

unsigned ExitTableEntriesAdded() {
  return g_entriesAdded.load(std::memory_order_relaxed);
}

}  // namespace testing

}  // namespace base::platform
