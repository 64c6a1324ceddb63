#include "handle/global_handle_pool.h"

#include "base/handle_pool.h"

namespace {

// Null only if the pool is asked for while the singletons are being torn down
// and it was never made; the pool functions then report that there is none.
handlepool* GlobalPool() {
  base::globalhandlepoolobject* instance = base::globalhandlepoolobject::Instance();
  return instance != nullptr ? instance->pool() : nullptr;
}

}  // namespace

unsigned int GlobalHandleAllocateHandle(void* object, unsigned int* handle) {
  return base::PoolAllocateHandle(GlobalPool(), object, handle);
}

unsigned int GlobalHandleGetEntry(unsigned int handle, st_handle_entry* entry) {
  return base::PoolGetEntry(GlobalPool(), handle, entry);
}

void GlobalHandleDisableHandle(unsigned int handle) {
  base::PoolDisableHandle(GlobalPool(), handle);
}

void GlobalHandleCloseHandle(unsigned int handle) {
  base::PoolCloseHandle(GlobalPool(), handle);
}
