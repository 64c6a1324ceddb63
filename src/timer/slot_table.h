// A slot table of scheduler timers: records in numbered slots, a bitmap of the
// live ones, and an index by (callback, owner).
//
// What callers can see is fixed: an add takes the lowest free slot, the
// duplicate rule looks at the new record's owner alone, slot numbers survive
// growth, and a compaction renumbers the live slots 0, 1, 2... in order. How
// this is found is not a walk of the slots: a summary bitmap of full words
// finds the lowest free slot, and two indexes answer the duplicate test and
// the erase, so an add or erase costs about the same with 100 or 100,000
// timers. The indexes grow with the slots, so an add that does not grow the
// table allocates nothing.
//
// Threading: none; the scheduler's owner thread alone touches a table.
#ifndef BASE_TIMER_SLOT_TABLE_H_
#define BASE_TIMER_SLOT_TABLE_H_

#include <cstddef>
#include <cstdint>
#include <memory>

#include "timer/slot_index.h"
#include "timer/timer_record.h"

namespace base {

class SlotTable {
 public:
  // Capacity is always a positive multiple of this.
  static constexpr std::uint32_t kCapacityStep = 1024;

  SlotTable();
  SlotTable(const SlotTable&) = delete;
  SlotTable& operator=(const SlotTable&) = delete;
  ~SlotTable();

  std::uint32_t capacity() const { return capacity_; }
  std::uint32_t count() const { return count_; }

  bool IsLive(std::uint32_t slot) const {
    return slot < capacity_ && ((storage_.bits[slot / 64] >> (slot % 64)) & 1) != 0;
  }
  // Any slot below capacity(); a free slot's contents mean nothing.
  TimerRecord& record(std::uint32_t slot) { return storage_.slots[slot].record; }
  const TimerRecord& record(std::uint32_t slot) const { return storage_.slots[slot].record; }

  // Makes room before an add: grows by kCapacityStep if the table is full, or
  // compacts it if it is at least two steps long and less than half used.
  // Returns false only if growing failed for lack of memory; the table is
  // then as it was. A compaction without memory is skipped.
  bool EnsureCapacity();

  // Puts `record` into the lowest free slot, unless the table holds a record
  // of the same callback and, if record.owner is not 0, the same owner.
  // Returns false on such a duplicate or if no slot is free. Allocates
  // nothing.
  bool Add(const TimerRecord& record);

  // Empties a live slot: its callback becomes null and its bit clears.
  void Free(std::uint32_t slot);

  // Frees every live slot of `callback` (of `owner` only, unless it is 0).
  // Returns whether any slot was freed.
  bool EraseMatching(SchedulerCallback callback, void* owner);

  // Calls visit(slot) for every live slot, in ascending order. `visit` may
  // free the slot it is given, and no other.
  template <typename Visit>
  void ForEachLive(Visit&& visit) {
    const std::uint32_t words = capacity_ / 64;
    for (std::uint32_t w = 0; w < words; ++w) {
      for (std::uint64_t live = storage_.bits[w]; live != 0; live &= live - 1)
        visit(w * 64 + static_cast<std::uint32_t>(__builtin_ctzll(live)));
    }
  }

 private:
  static constexpr std::uint32_t kNoSlot = 0xFFFFFFFFu;

  // A record and its links in the chain of slots that share its callback.
  struct Slot {
    TimerRecord record;
    std::uint32_t previousSame;
    std::uint32_t nextSame;
  };

  // The arrays of one capacity, allocated together so that a failure leaves
  // the table untouched.
  struct Storage {
    std::unique_ptr<Slot[]> slots;
    std::unique_ptr<std::uint64_t[]> bits;       // bit i: slot i is live
    std::unique_ptr<std::uint64_t[]> fullWords;  // bit w: bits[w] is all ones
    SlotIndex slotOfPair;                        // the slot of each (callback, owner)
    SlotIndex firstOfCallback;                   // the first slot of each callback's chain
    bool Allocate(std::uint32_t capacity);
  };

  bool IsDuplicate(const TimerRecord& record);
  std::uint32_t* PairBucket(SchedulerCallback callback, void* owner);
  std::uint32_t* ChainBucket(SchedulerCallback callback);
  std::uint32_t LowestFreeSlot() const;
  void SetBit(std::uint32_t slot);
  void ClearBit(std::uint32_t slot);
  void Link(std::uint32_t slot);
  void Unlink(std::uint32_t slot);
  void IndexPair(std::uint32_t slot);
  void UnindexPair(std::uint32_t slot);
  bool Grow();
  void Compact();

  Storage storage_;
  std::uint32_t capacity_ = 0;
  std::uint32_t count_ = 0;
};

}  // namespace base

#endif  // BASE_TIMER_SLOT_TABLE_H_
