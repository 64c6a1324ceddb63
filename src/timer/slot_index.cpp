#include "timer/slot_index.h"

#include <algorithm>
#include <limits>
#include <new>

namespace base {

bool SlotIndex::Allocate(std::uint32_t entries) {
  // A power of two of at least twice the entries: the load stays at one half
  // or below, and a bucket is found by a mask.
  std::uint64_t count = 1;
  while (count < 2 * std::uint64_t{entries})
    count *= 2;
  if (count > std::numeric_limits<std::size_t>::max() / sizeof(std::uint32_t))
    return false;
  std::unique_ptr<std::uint32_t[]> buckets(new (std::nothrow) std::uint32_t[count]);
  if (!buckets)
    return false;
  std::fill_n(buckets.get(), count, kEmpty);
  buckets_ = std::move(buckets);
  mask_ = static_cast<std::size_t>(count - 1);
  return true;
}

void SlotIndex::Insert(std::size_t hash, std::uint32_t slot) {
  std::size_t i = hash & mask_;
  while (buckets_[i] != kEmpty)
    i = (i + 1) & mask_;
  buckets_[i] = slot;
}

}  // namespace base
