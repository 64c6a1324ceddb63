// The scheduled records of the callback timers, soonest first.
//
// Only the front is ever taken, so the order lives in a 4-ary heap of small
// keys (sort tick, sequence, slot) rather than in a tree of nodes: at 100,000
// records a node tree no longer fits the cache, while the keys of one heap
// level share a cache line. Records sit in a slab and keep their slot for
// life, so the id table can point at a slot that no heap move invalidates.
//
// Order: a before b if b.sortTick - a.sortTick, taken as signed 32-bit, is
// above 0; on equal sort ticks, the same test on the sequences. That makes the
// wrap of the clock a non-event as long as all ticks in the queue lie less
// than 2^31 ms apart.
//
// Not locked: the owner serialises.
#ifndef BASE_TIMER_TIME_RECORD_QUEUE_H_
#define BASE_TIMER_TIME_RECORD_QUEUE_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/method.h"

namespace base {

struct TimeRecord {
  std::uint32_t period = 0;   // ms: the delay, and the period of a repeating record
  std::uint32_t id = 0;       // 0: none
  std::uint32_t dueTick = 0;  // equals the sort tick unless the record lags
  std::uint8_t repeat = 0;    // 1: repeating
  Method<void()> method;
};

class TimeRecordQueue {
 public:
  using Slot = std::uint32_t;

  TimeRecordQueue() = default;
  TimeRecordQueue(const TimeRecordQueue&) = delete;
  TimeRecordQueue& operator=(const TimeRecordQueue&) = delete;

  bool Empty() const { return heap_.empty(); }
  std::size_t Size() const { return heap_.size(); }

  // The soonest record. Only when not Empty().
  Slot Front() const { return heap_.front().slot; }

  TimeRecord& operator[](Slot slot) { return records_[slot]; }
  std::uint32_t SequenceOf(Slot slot) const { return heap_[position_[slot]].sequence; }

  // Files `record` under (sortTick, sequence). Either it is filed or, if
  // memory runs out, std::bad_alloc leaves the queue as it was.
  Slot Insert(const TimeRecord& record, std::uint32_t sortTick, std::uint32_t sequence);

  // Gives a filed record a new place; the record itself is left alone.
  void Reorder(Slot slot, std::uint32_t sortTick, std::uint32_t sequence);

  // Takes a record out and drops its delegate here, in the caller's context.
  void Remove(Slot slot);

 private:
  static constexpr Slot kNoSlot = UINT32_MAX;

  struct Key {
    std::uint32_t sortTick;
    std::uint32_t sequence;
    Slot slot;
  };

  static bool Before(const Key& a, const Key& b) {
    if (a.sortTick != b.sortTick)
      return static_cast<std::int32_t>(b.sortTick - a.sortTick) > 0;
    return static_cast<std::int32_t>(b.sequence - a.sequence) > 0;
  }

  // Both fill the hole at `index` with `key`, moving keys past it on the way.
  void SiftUp(std::size_t index, const Key& key);
  void SiftDown(std::size_t index, const Key& key);
  void Settle(std::size_t index, const Key& key);
  // Moves the hole at `index` down to a leaf; returns where it ends.
  std::size_t SinkHole(std::size_t index);
  // Of the children from `first` on, the one that comes first.
  std::size_t SoonestChild(std::size_t first) const;
  void Place(std::size_t index, const Key& key) {
    heap_[index] = key;
    position_[key.slot] = static_cast<std::uint32_t>(index);
  }
  Slot TakeFreeSlot(const TimeRecord& record);

  std::vector<Key> heap_;
  std::vector<TimeRecord> records_;  // by slot
  // By slot: the index of its key in heap_, or for a free slot the next free one.
  std::vector<std::uint32_t> position_;
  Slot freeHead_ = kNoSlot;
};

}  // namespace base

#endif  // BASE_TIMER_TIME_RECORD_QUEUE_H_
