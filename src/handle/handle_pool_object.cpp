#include "base/handle_pool.h"

#include "handle/handle_table.h"

handlepoolobject::handlepoolobject() : pool(new handlepool) {}

handlepoolobject::~handlepoolobject() {
  delete pool;
  pool = nullptr;
}

unsigned int handlepoolobject::AllocateHandle(void* object, unsigned int* handle) {
  return base::PoolAllocateHandle(pool, object, handle);
}

unsigned int handlepoolobject::GetEntry(unsigned int handle, st_handle_entry* entry) {
  return base::PoolGetEntry(pool, handle, entry);
}

void handlepoolobject::DisableHandle(unsigned int handle) {
  base::PoolDisableHandle(pool, handle);
}

void handlepoolobject::CloseHandle(unsigned int handle) {
  base::PoolCloseHandle(pool, handle);
}
