#include "handle/handle_table.h"

namespace base {
namespace {

// The table index of `handle`; HandleCount or more when out of range. The
// unsigned difference puts numbers below HandleBase far out of range too.
std::uint32_t IndexOf(unsigned int handle) {
  return handle - HandleBase;
}

void SetEntry(st_handle_entry* entry, std::uint32_t state, void* object) {
  entry->state = state;
  entry->object = object;
  entry->reserved = 0;
}

}  // namespace

unsigned int PoolAllocateHandle(handlepool* pool, void* object, unsigned int* handle) {
  if (pool == nullptr)
    return HandleResultNoPool;
  // A null argument reports success and leaves *handle alone.
  if (object == nullptr || handle == nullptr)
    return HandleResultOk;
  *handle = 0;
  std::uint32_t number;
  if (!pool->freeHandles.IsEmpty()) {
    number = pool->freeHandles.PopFront();
  } else if (pool->nextHandle - HandleBase >= HandleCount) {
    return HandleResultExhausted;
  } else {
    number = pool->nextHandle++;
  }
  SetEntry(&pool->entries[IndexOf(number)], HandleStateValid, object);
  *handle = number;
  return HandleResultOk;
}

unsigned int PoolGetEntry(const handlepool* pool, unsigned int handle, st_handle_entry* entry) {
  if (pool == nullptr)
    return HandleResultNoPool;
  const std::uint32_t index = IndexOf(handle);
  if (index >= HandleCount)
    return HandleResultOutOfRange;
  *entry = pool->entries[index];
  return HandleResultOk;
}

void PoolDisableHandle(handlepool* pool, unsigned int handle) {
  if (pool == nullptr)
    return;
  const std::uint32_t index = IndexOf(handle);
  if (index < HandleCount && pool->entries[index].state == HandleStateValid)
    SetEntry(&pool->entries[index], HandleStateDisabled, nullptr);
}

void PoolCloseHandle(handlepool* pool, unsigned int handle) {
  if (pool == nullptr)
    return;
  const std::uint32_t index = IndexOf(handle);
  if (index >= HandleCount)
    return;
  st_handle_entry& entry = pool->entries[index];
  if (entry.state == HandleStateNew || entry.state == HandleStateClosed)
    return;
  pool->freeHandles.PushBack(handle);
  SetEntry(&entry, HandleStateClosed, nullptr);
}

}  // namespace base
