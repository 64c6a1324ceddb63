// An index of a slot table's slots by a key that the slots themselves hold:
// one array of slot numbers, open addressing with linear probing.
//
// It is sized from the table's capacity, at a load of at most one half, and
// allocated together with the table's other arrays, so that adding to it and
// erasing from it never allocate: an ordinary timer add allocates nothing, and
// the one allocation that can fail is the table's growth, before any change.
//
// The index keeps no keys. Each call passes the key's hash and a test of
// whether a slot holds the key; an erase also needs the hash of any slot's
// key, for the entries that it moves back.
//
// Threading: none; it belongs to its table.
#ifndef BASE_TIMER_SLOT_INDEX_H_
#define BASE_TIMER_SLOT_INDEX_H_

#include <cstddef>
#include <cstdint>
#include <memory>

namespace base {

class SlotIndex {
 public:
  // Room for `entries` keys; every bucket empty. Returns false, with the
  // index as it was, if there is no memory for it.
  bool Allocate(std::uint32_t entries);

  // The bucket that holds the slot `holdsKey` accepts, or null. The bucket's
  // slot number may be rewritten to another slot of the same key.
  template <typename HoldsKey>
  std::uint32_t* Find(std::size_t hash, HoldsKey holdsKey) {
    for (std::size_t i = hash & mask_;; i = (i + 1) & mask_) {
      if (buckets_[i] == kEmpty)
        return nullptr;
      if (holdsKey(buckets_[i]))
        return &buckets_[i];
    }
  }

  // Files `slot` under `hash`. The key must not be in the index yet, and the
  // index must hold fewer keys than it was allocated for.
  void Insert(std::size_t hash, std::uint32_t slot);

  // Empties `bucket`, found by Find. The entries behind it in its run move
  // back over the hole wherever their probe would otherwise stop short of
  // them, so no tombstones are needed and probes stay short.
  template <typename HashOfSlot>
  void Erase(std::uint32_t* bucket, HashOfSlot hashOfSlot) {
    std::size_t hole = static_cast<std::size_t>(bucket - buckets_.get());
    for (std::size_t i = (hole + 1) & mask_; buckets_[i] != kEmpty; i = (i + 1) & mask_) {
      const std::size_t home = hashOfSlot(buckets_[i]) & mask_;
      // The entry may move into the hole if the hole lies on its probe path,
      // from its home up to where it stands.
      if (((i - home) & mask_) >= ((i - hole) & mask_)) {
        buckets_[hole] = buckets_[i];
        hole = i;
      }
    }
    buckets_[hole] = kEmpty;
  }

 private:
  static constexpr std::uint32_t kEmpty = 0xFFFFFFFFu;

  std::unique_ptr<std::uint32_t[]> buckets_;
  std::size_t mask_ = 0;
};

}  // namespace base

#endif  // BASE_TIMER_SLOT_INDEX_H_
