// The state of a handle pool and the four operations on it, shared by the
// private pools and the one pool of the process. Inline: each is a few
// instructions, and a call more would cost as much again. Every operation
// accepts a null pool and then reports HandleResultNoPool or does nothing.
//
// The table is kept in two columns, not as an array of st_handle_entry, and
// GetEntry puts the record together. The object column alone tells a valid
// handle: AllocateHandle refuses a null object, and every other state has
// none. The state column therefore only tells the states without an object
// apart, and giving out a number writes a single word of the table. `reserved`
// is always 0 and needs no column. A record is 24 bytes on a 64-bit host:
// 2048 of them with the queue overflow a 32 KiB first-level cache, while the
// columns take 18 KiB, the queue 4 KiB.
#ifndef BASE_HANDLE_HANDLE_TABLE_H_
#define BASE_HANDLE_HANDLE_TABLE_H_

#include <cstdint>

#include "base/handle_pool.h"

namespace base {

// Numbers closed and not yet given out again, oldest first, as table indexes.
// Each index is in it at most once (only a valid or disabled handle can be
// closed), so a ring of HandleCount slots never overflows and closing never
// allocates. The two ends are counters that run freely and wrap: their
// difference is the length, and a push and a pop touch different counters.
class FreeHandleQueue {
 public:
  bool IsEmpty() const { return head_ == tail_; }
  void PushBack(std::uint16_t index) { slots_[tail_++ % HandleCount] = index; }
  std::uint16_t PopFront() { return slots_[head_++ % HandleCount]; }

 private:
  static_assert(HandleCount <= 0x10000, "an index fits 16 bits");
  std::uint16_t slots_[HandleCount];
  std::uint32_t head_ = 0;
  std::uint32_t tail_ = 0;
};

}  // namespace base

struct handlepool {
  void* objects[HandleCount] = {};        // non-null exactly when valid
  std::uint8_t states[HandleCount] = {};  // the state of a handle without an object
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

// Clears the object and sets a state that has none.
inline void SetStateWithoutObject(handlepool* pool, std::uint32_t index, std::uint32_t state) {
  pool->objects[index] = nullptr;
  pool->states[index] = static_cast<std::uint8_t>(state);
}

}  // namespace internal

inline unsigned int PoolAllocateHandle(handlepool* pool, void* object, unsigned int* handle) {
  if (pool == nullptr)
    return HandleResultNoPool;
  // A null argument reports success and leaves *handle alone.
  if (object == nullptr || handle == nullptr)
    return HandleResultOk;
  std::uint32_t index;
  if (!pool->freeHandles.IsEmpty()) {
    index = pool->freeHandles.PopFront();
  } else if (pool->nextHandle - HandleBase >= HandleCount) {
    *handle = 0;
    return HandleResultExhausted;
  } else {
    index = internal::IndexOf(pool->nextHandle++);
  }
  pool->objects[index] = object;
  *handle = HandleBase + index;
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
  void* const object = pool->objects[index];
  entry->state = object != nullptr ? HandleStateValid : pool->states[index];
  entry->object = object;
  entry->reserved = 0;
  return HandleResultOk;
}

inline void PoolDisableHandle(handlepool* pool, unsigned int handle) {
  if (pool == nullptr)
    return;
  const std::uint32_t index = internal::IndexOf(handle);
  if (index < HandleCount && pool->objects[index] != nullptr)
    internal::SetStateWithoutObject(pool, index, HandleStateDisabled);
}

inline void PoolCloseHandle(handlepool* pool, unsigned int handle) {
  if (pool == nullptr)
    return;
  const std::uint32_t index = internal::IndexOf(handle);
  if (index >= HandleCount)
    return;
  // Valid or disabled; never given out and already closed are ignored.
  if (pool->objects[index] == nullptr && pool->states[index] != HandleStateDisabled)
    return;
  pool->freeHandles.PushBack(static_cast<std::uint16_t>(index));
  internal::SetStateWithoutObject(pool, index, HandleStateClosed);
}

}  // namespace base

#endif  // BASE_HANDLE_HANDLE_TABLE_H_
