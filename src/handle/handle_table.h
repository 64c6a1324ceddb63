// The state of a handle pool and the four operations on it, shared by the
// private pools and the one pool of the process. Every operation accepts a
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

unsigned int PoolAllocateHandle(handlepool* pool, void* object, unsigned int* handle);
unsigned int PoolGetEntry(const handlepool* pool, unsigned int handle, st_handle_entry* entry);
void PoolDisableHandle(handlepool* pool, unsigned int handle);
void PoolCloseHandle(handlepool* pool, unsigned int handle);

}  // namespace base

#endif  // BASE_HANDLE_HANDLE_TABLE_H_
