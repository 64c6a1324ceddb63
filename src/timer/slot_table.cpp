#include "timer/slot_table.h"

#include <algorithm>
#include <new>

#include "check/dcheck.h"

namespace base {
namespace {

constexpr std::uint64_t kAllOnes = ~std::uint64_t{0};

std::uint32_t WordsFor(std::uint32_t capacity) {
  return capacity / 64;
}

std::uint32_t SummaryWordsFor(std::uint32_t capacity) {
  return (WordsFor(capacity) + 63) / 64;
}

// Function addresses are aligned and owners are often small numbers: both
// need their bits spread before the index masks off the low ones.
std::size_t Mix(std::uint64_t x) {
  x ^= x >> 33;
  x *= 0xff51afd7ed558ccdull;
  x ^= x >> 33;
  return static_cast<std::size_t>(x);
}

std::size_t HashOf(SchedulerCallback callback) {
  return Mix(reinterpret_cast<std::uintptr_t>(callback));
}

std::size_t HashOf(SchedulerCallback callback, void* owner) {
  return Mix(reinterpret_cast<std::uintptr_t>(callback) ^
             Mix(reinterpret_cast<std::uintptr_t>(owner)));
}

}  // namespace

bool SlotTable::Storage::Allocate(std::uint32_t capacity) {
  // Value-initialised: the new arrays start zeroed.
  slots.reset(new (std::nothrow) Slot[capacity]());
  bits.reset(new (std::nothrow) std::uint64_t[WordsFor(capacity)]());
  fullWords.reset(new (std::nothrow) std::uint64_t[SummaryWordsFor(capacity)]());
  return slots && bits && fullWords && slotOfPair.Allocate(capacity) &&
         firstOfCallback.Allocate(capacity);
}

SlotTable::SlotTable() {
  if (!storage_.Allocate(kCapacityStep))
    throw std::bad_alloc();
  capacity_ = kCapacityStep;
}

SlotTable::~SlotTable() = default;

bool SlotTable::EnsureCapacity() {
  if (count_ + 1 > capacity_)
    return Grow();
  if (capacity_ >= 2 * kCapacityStep &&
      static_cast<double>(count_) / static_cast<double>(capacity_) < 0.5)
    Compact();
  return true;
}

bool SlotTable::Grow() {
  if (capacity_ > 0xFFFFFFFFu - kCapacityStep)
    return false;
  const std::uint32_t capacity = capacity_ + kCapacityStep;
  Storage grown;
  if (!grown.Allocate(capacity))
    return false;
  // Slot numbers stay, and so do the chains; the indexes are laid anew at
  // their new size.
  std::copy_n(storage_.slots.get(), capacity_, grown.slots.get());
  std::copy_n(storage_.bits.get(), WordsFor(capacity_), grown.bits.get());
  std::copy_n(storage_.fullWords.get(), SummaryWordsFor(capacity_), grown.fullWords.get());
  storage_ = std::move(grown);
  capacity_ = capacity;
  ForEachLive([this](std::uint32_t slot) {
    IndexPair(slot);
    const Slot& entry = storage_.slots[slot];
    if (entry.previousSame == kNoSlot)
      storage_.firstOfCallback.Insert(HashOf(entry.record.callback), slot);
  });
  return true;
}

void SlotTable::Compact() {
  const std::uint32_t capacity = (count_ + kCapacityStep) / kCapacityStep * kCapacityStep;
  Storage compact;
  if (!compact.Allocate(capacity))
    return;  // the add goes on in the old table
  // Renumbering moves every record, so the chains and indexes are laid anew.
  std::uint32_t moved = 0;
  ForEachLive(
      [&](std::uint32_t slot) { compact.slots[moved++].record = storage_.slots[slot].record; });
  storage_ = std::move(compact);
  capacity_ = capacity;
  for (std::uint32_t slot = 0; slot < moved; ++slot) {
    SetBit(slot);
    Link(slot);
    IndexPair(slot);
  }
}

bool SlotTable::Add(const TimerRecord& record) {
  if (IsDuplicate(record))
    return false;
  const std::uint32_t slot = LowestFreeSlot();
  if (slot == kNoSlot)
    return false;
  BASE_DCHECK(!IsLive(slot));
  storage_.slots[slot].record = record;
  Link(slot);
  IndexPair(slot);
  SetBit(slot);
  ++count_;
  return true;
}

void SlotTable::Free(std::uint32_t slot) {
  BASE_DCHECK(IsLive(slot));
  Unlink(slot);
  UnindexPair(slot);
  storage_.slots[slot].record.callback = nullptr;
  ClearBit(slot);
  --count_;
}

bool SlotTable::EraseMatching(SchedulerCallback callback, void* owner) {
  if (owner) {
    const std::uint32_t* bucket = PairBucket(callback, owner);
    if (!bucket)
      return false;
    Free(*bucket);
    return true;
  }
  const std::uint32_t* first = ChainBucket(callback);
  if (!first)
    return false;
  for (std::uint32_t slot = *first; slot != kNoSlot;) {
    const std::uint32_t next = storage_.slots[slot].nextSame;
    Free(slot);  // may empty or move `first`
    slot = next;
  }
  return true;
}

bool SlotTable::IsDuplicate(const TimerRecord& record) {
  if (!record.owner)
    return ChainBucket(record.callback) != nullptr;
  return PairBucket(record.callback, record.owner) != nullptr;
}

// The bucket that holds the slot of (callback, owner), or null.
std::uint32_t* SlotTable::PairBucket(SchedulerCallback callback, void* owner) {
  return storage_.slotOfPair.Find(HashOf(callback, owner), [&](std::uint32_t slot) {
    const TimerRecord& live = storage_.slots[slot].record;
    return live.callback == callback && live.owner == owner;
  });
}

// The bucket that holds the first slot of callback's chain, or null.
std::uint32_t* SlotTable::ChainBucket(SchedulerCallback callback) {
  return storage_.firstOfCallback.Find(HashOf(callback), [&](std::uint32_t slot) {
    return storage_.slots[slot].record.callback == callback;
  });
}

std::uint32_t SlotTable::LowestFreeSlot() const {
  const std::uint32_t words = WordsFor(capacity_);
  const std::uint32_t summaries = SummaryWordsFor(capacity_);
  for (std::uint32_t s = 0; s < summaries; ++s) {
    const std::uint64_t notFull = ~storage_.fullWords[s];
    if (notFull == 0)
      continue;
    // Summary bits past the last word are 0, so they read as "not full".
    const std::uint32_t w = s * 64 + static_cast<std::uint32_t>(__builtin_ctzll(notFull));
    if (w >= words)
      break;
    return w * 64 + static_cast<std::uint32_t>(__builtin_ctzll(~storage_.bits[w]));
  }
  return kNoSlot;
}

void SlotTable::SetBit(std::uint32_t slot) {
  std::uint64_t& word = storage_.bits[slot / 64];
  word |= std::uint64_t{1} << (slot % 64);
  if (word == kAllOnes)
    storage_.fullWords[slot / 4096] |= std::uint64_t{1} << (slot / 64 % 64);
}

void SlotTable::ClearBit(std::uint32_t slot) {
  storage_.bits[slot / 64] &= ~(std::uint64_t{1} << (slot % 64));
  storage_.fullWords[slot / 4096] &= ~(std::uint64_t{1} << (slot / 64 % 64));
}

// Puts `slot` in front of its callback's chain, or starts the chain.
void SlotTable::Link(std::uint32_t slot) {
  Slot& entry = storage_.slots[slot];
  entry.previousSame = kNoSlot;
  std::uint32_t* first = ChainBucket(entry.record.callback);
  if (!first) {
    entry.nextSame = kNoSlot;
    storage_.firstOfCallback.Insert(HashOf(entry.record.callback), slot);
    return;
  }
  entry.nextSame = *first;
  storage_.slots[*first].previousSame = slot;
  *first = slot;
}

void SlotTable::Unlink(std::uint32_t slot) {
  const Slot& entry = storage_.slots[slot];
  if (entry.nextSame != kNoSlot)
    storage_.slots[entry.nextSame].previousSame = entry.previousSame;
  if (entry.previousSame != kNoSlot) {
    storage_.slots[entry.previousSame].nextSame = entry.nextSame;
    return;
  }
  std::uint32_t* first = ChainBucket(entry.record.callback);
  BASE_DCHECK(first != nullptr && *first == slot);
  if (entry.nextSame != kNoSlot) {
    *first = entry.nextSame;
    return;
  }
  storage_.firstOfCallback.Erase(
      first, [this](std::uint32_t other) { return HashOf(storage_.slots[other].record.callback); });
}

void SlotTable::IndexPair(std::uint32_t slot) {
  const TimerRecord& record = storage_.slots[slot].record;
  storage_.slotOfPair.Insert(HashOf(record.callback, record.owner), slot);
}

void SlotTable::UnindexPair(std::uint32_t slot) {
  const TimerRecord& record = storage_.slots[slot].record;
  std::uint32_t* bucket = PairBucket(record.callback, record.owner);
  BASE_DCHECK(bucket != nullptr && *bucket == slot);
  storage_.slotOfPair.Erase(bucket, [this](std::uint32_t other) {
    const TimerRecord& moved = storage_.slots[other].record;
    return HashOf(moved.callback, moved.owner);
  });
}

}  // namespace base
