#include "handle/global_handle_pool.h"

#include "base/handle_pool.h"
#include "base/likely.h"

namespace {

// Makes the instance on first use, or finds it without a table once it has
// been finalised. Null only if the pool is asked for while the singletons are
// being torn down and it was never made; the pool functions then report that
// there is none.
handlepool* InstancePool() {
  base::globalhandlepoolobject* instance = base::globalhandlepoolobject::Instance();
  return instance != nullptr ? instance->pool() : nullptr;
}

template <auto Operation, typename... Args>
__attribute__((noinline)) auto OnInstancePool(Args... args) {
  return Operation(InstancePool(), args...);
}

// Runs `Operation` on the table of the process. Only the first call and the
// calls after FInit go through Instance(), in a call of their own at the end:
// the common path then needs no stack frame, which would cost as much as the
// operation.
template <auto Operation, typename... Args>
auto OnGlobalPool(Args... args) {
  handlepool* const pool = base::globalhandlepoolobject::LivePool();
  if (BASE_LIKELY(pool != nullptr))
    return Operation(pool, args...);
  return OnInstancePool<Operation>(args...);
}

}  // namespace

unsigned int GlobalHandleAllocateHandle(void* object, unsigned int* handle) {
  return OnGlobalPool<base::PoolAllocateHandle>(object, handle);
}

unsigned int GlobalHandleGetEntry(unsigned int handle, st_handle_entry* entry) {
  return OnGlobalPool<base::PoolGetEntry>(handle, entry);
}

void GlobalHandleDisableHandle(unsigned int handle) {
  OnGlobalPool<base::PoolDisableHandle>(handle);
}

void GlobalHandleCloseHandle(unsigned int handle) {
  OnGlobalPool<base::PoolCloseHandle>(handle);
}
