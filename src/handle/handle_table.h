// The state of a handle pool and the four operations on it, shared by the
// private pools and the one pool of the process. Inline: each is a few
// instructions, and a call more would cost as much again. Every operation accepts a
// null pool and then reports HandleResultNoPool or does nothing.
#ifndef BASE_HANDLE_HANDLE_TABLE_H_
#define BASE_HANDLE_HANDLE_TABLE_H_

#include <cstdint>

#include "base/handle_pool.h"

namespace base {

// Numbers closed and not yet given out again, oldest first. Each number is in
// it at most once (only a valid or disabled handle can be closed), so a fixed
// ring of HandleCount slots never overflows, and closing never allocates.
class FreeHandleQueue {
 public:
  bool IsEmpty() const { return size_ == 0; }
  void PushBack(std::uint32_t handle) {
    slots_[(head_ + size_) % HandleCount] = handle;
    ++size_;
  }
  std::uint32_t PopFront() {
    const std::uint32_t handle = slots_[head_];
    head_ = (head_ + 1) % HandleCount;
    --size_;
    return handle;
  }

 private:
  std::uint32_t slots_[HandleCount];
  std::uint32_t head_ = 0;
  std::uint32_t size_ = 0;
};

}  // namespace base

struct handlepool {
  st_handle_entry entries[HandleCount] = {};
  base::FreeHandleQueue freeHandles;
  std::uint32_t nextHandle = HandleBase;  // the next number never given out
};

namespace base {
namespace internal {

// The table index of `handle`; HandleCount or more when out of range. The
// unsigned difference puts numbers below HandleBase far out of range too.
inline std::uint32_t IndexOf(unsigned int handle) {
  return handle - HandleBase;
}

inline void SetEntry(st_handle_entry* entry, std::uint32_t state, void* object) {
  entry->state = state;
  entry->object = object;
  entry->reserved = 0;
}

}  // namespace internal

inline unsigned int PoolAllocateHandle(handlepool* pool, void* object, unsigned int* handle) {
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
  internal::SetEntry(&pool->entries[internal::IndexOf(number)], HandleStateValid, object);
  *handle = number;
  return HandleResultOk;
}

inline unsigned int PoolGetEntry(const handlepool* pool,
                                 unsigned int handle,
                                 st_handle_entry* entry) {
  if (pool == nullptr)
    return HandleResultNoPool;
  const std::uint32_t index = internal::IndexOf(handle);
  if (index >= HandleCount)
    return HandleResultOutOfRange;
  *entry = pool->entries[index];
  return HandleResultOk;
}

inline void PoolDisableHandle(handlepool* pool, unsigned int handle) {
  if (pool == nullptr)
    return;
  const std::uint32_t index = internal::IndexOf(handle);
  if (index < HandleCount && pool->entries[index].state == HandleStateValid)
    internal::SetEntry(&pool->entries[index], HandleStateDisabled, nullptr);
}

inline void PoolCloseHandle(handlepool* pool, unsigned int handle) {
  if (pool == nullptr)
    return;
  const std::uint32_t index = internal::IndexOf(handle);
  if (index >= HandleCount)
    return;
  st_handle_entry& entry = pool->entries[index];
  if (entry.state == HandleStateNew || entry.state == HandleStateClosed)
    return;
  pool->freeHandles.PushBack(handle);
  internal::SetEntry(&entry, HandleStateClosed, nullptr);
}

}  // namespace base

#endif  // BASE_HANDLE_HANDLE_TABLE_H_
