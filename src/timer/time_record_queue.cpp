#include "timer/time_record_queue.h"

#include <algorithm>

namespace base {
namespace {

constexpr std::size_t kArity = 4;

// Makes room for one more element with geometric growth, so that a later
// push_back cannot throw: reserve(size() + 1) alone would grow one at a time.
template <typename T>
void ReserveOneMore(std::vector<T>& v) {
  if (v.size() == v.capacity())
    v.reserve(std::max<std::size_t>(16, v.capacity() * 2));
}

}  // namespace

TimeRecordQueue::Slot TimeRecordQueue::Insert(const TimeRecord& record,
                                              std::uint32_t sortTick,
                                              std::uint32_t sequence) {
  ReserveOneMore(heap_);
  if (freeHead_ == kNoSlot) {
    ReserveOneMore(records_);
    ReserveOneMore(position_);
  }
  // Nothing below allocates: the delegate copy only counts.
  const Slot slot = TakeFreeSlot(record);
  heap_.push_back(Key{});
  SiftUp(heap_.size() - 1, Key{sortTick, sequence, slot});
  return slot;
}

TimeRecordQueue::Slot TimeRecordQueue::TakeFreeSlot(const TimeRecord& record) {
  if (freeHead_ == kNoSlot) {
    records_.push_back(record);
    position_.push_back(0);
    return static_cast<Slot>(records_.size() - 1);
  }
  const Slot slot = freeHead_;
  freeHead_ = position_[slot];
  records_[slot] = record;
  return slot;
}

void TimeRecordQueue::Reorder(Slot slot, std::uint32_t sortTick, std::uint32_t sequence) {
  Settle(position_[slot], Key{sortTick, sequence, slot});
}

void TimeRecordQueue::Remove(Slot slot) {
  const std::size_t index = position_[slot];
  const Key last = heap_.back();
  heap_.pop_back();
  if (index < heap_.size())
    SiftUp(SinkHole(index), last);
  records_[slot].method = Method<void()>();
  position_[slot] = freeHead_;
  freeHead_ = slot;
}

void TimeRecordQueue::Settle(std::size_t index, const Key& key) {
  if (index > 0 && Before(key, heap_[(index - 1) / kArity]))
    SiftUp(index, key);
  else
    SiftDown(index, key);
}

void TimeRecordQueue::SiftUp(std::size_t index, const Key& key) {
  while (index > 0) {
    const std::size_t parent = (index - 1) / kArity;
    if (!Before(key, heap_[parent]))
      break;
    Place(index, heap_[parent]);
    index = parent;
  }
  Place(index, key);
}

// The key that fills a removed record's place is the heap's last, which
// mostly belongs near the bottom again. So the hole goes all the way down
// first, the soonest child moving up at each level, and the key rises from
// there: one comparison per level fewer than sifting it down, and it rarely
// rises more than a level.
std::size_t TimeRecordQueue::SinkHole(std::size_t index) {
  const std::size_t size = heap_.size();
  for (;;) {
    const std::size_t first = index * kArity + 1;
    if (first >= size)
      return index;
    const std::size_t best = SoonestChild(first);
    Place(index, heap_[best]);
    index = best;
  }
}

std::size_t TimeRecordQueue::SoonestChild(std::size_t first) const {
  const std::size_t end = std::min(first + kArity, heap_.size());
  std::size_t best = first;
  for (std::size_t child = first + 1; child < end; ++child) {
    if (Before(heap_[child], heap_[best]))
      best = child;
  }
  return best;
}

void TimeRecordQueue::SiftDown(std::size_t index, const Key& key) {
  const std::size_t size = heap_.size();
  for (;;) {
    const std::size_t first = index * kArity + 1;
    if (first >= size)
      break;
    const std::size_t best = SoonestChild(first);
    if (!Before(heap_[best], key))
      break;
    Place(index, heap_[best]);
    index = best;
  }
  Place(index, key);
}

}  // namespace base
