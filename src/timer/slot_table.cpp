#include "timer/slot_table.h"

#include <algorithm>
#include <new>

namespace base {
namespace {

constexpr std::uint64_t kAllOnes = ~std::uint64_t{0};

std::uint32_t WordsFor(std::uint32_t capacity) {
  return capacity / 64;
}

std::uint32_t SummaryWordsFor(std::uint32_t capacity) {
  return (WordsFor(capacity) + 63) / 64;
}

}  // namespace

bool SlotTable::Storage::Allocate(std::uint32_t capacity) {
  // Value-initialised: the new arrays start zeroed.
  slots.reset(new (std::nothrow) Slot[capacity]());
  bits.reset(new (std::nothrow) std::uint64_t[WordsFor(capacity)]());
  fullWords.reset(new (std::nothrow) std::uint64_t[SummaryWordsFor(capacity)]());
  return slots && bits && fullWords;
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
  // Slot numbers stay, and so do the chains and the index that name them.
  std::copy_n(storage_.slots.get(), capacity_, grown.slots.get());
  std::copy_n(storage_.bits.get(), WordsFor(capacity_), grown.bits.get());
  std::copy_n(storage_.fullWords.get(), SummaryWordsFor(capacity_), grown.fullWords.get());
  storage_ = std::move(grown);
  capacity_ = capacity;
  return true;
}

void SlotTable::Compact() {
  const std::uint32_t capacity = (count_ + kCapacityStep) / kCapacityStep * kCapacityStep;
  Storage compact;
  if (!compact.Allocate(capacity))
    return;  // the add goes on in the old table
  // Renumbering moves every record, so the index learns the new numbers and
  // the chains are laid anew. Keys stay as they are: nothing here allocates.
  std::uint32_t moved = 0;
  ForEachLive([&](std::uint32_t slot) {
    const TimerRecord& live = storage_.slots[slot].record;
    compact.slots[moved].record = live;
    slotOf_.find(OwnerKey{live.callback, live.owner})->second = moved;
    ++moved;
  });
  storage_ = std::move(compact);
  capacity_ = capacity;
  for (auto& first : firstOf_)
    first.second = kNoSlot;
  for (std::uint32_t slot = 0; slot < moved; ++slot) {
    SetBit(slot);
    Link(slot);
  }
}

bool SlotTable::Add(const TimerRecord& record) {
  if (IsDuplicate(record))
    return false;
  const std::uint32_t slot = LowestFreeSlot();
  if (slot == kNoSlot)
    return false;
  storage_.slots[slot].record = record;
  // The index is written first: if it runs out of memory the slot is still
  // free and the table unchanged.
  const auto entry = slotOf_.emplace(OwnerKey{record.callback, record.owner}, slot).first;
  try {
    Link(slot);
  } catch (...) {
    slotOf_.erase(entry);
    throw;
  }
  SetBit(slot);
  ++count_;
  return true;
}

void SlotTable::Free(std::uint32_t slot) {
  TimerRecord& record = storage_.slots[slot].record;
  Unlink(slot);
  slotOf_.erase(OwnerKey{record.callback, record.owner});
  record.callback = nullptr;
  ClearBit(slot);
  --count_;
}

bool SlotTable::EraseMatching(SchedulerCallback callback, void* owner) {
  if (owner) {
    const auto entry = slotOf_.find(OwnerKey{callback, owner});
    if (entry == slotOf_.end())
      return false;
    Free(entry->second);
    return true;
  }
  const auto first = firstOf_.find(callback);
  if (first == firstOf_.end())
    return false;
  for (std::uint32_t slot = first->second; slot != kNoSlot;) {
    const std::uint32_t next = storage_.slots[slot].nextSame;
    Free(slot);  // may drop `first`
    slot = next;
  }
  return true;
}

bool SlotTable::IsDuplicate(const TimerRecord& record) const {
  if (!record.owner)
    return firstOf_.count(record.callback) != 0;
  return slotOf_.count(OwnerKey{record.callback, record.owner}) != 0;
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

// Puts `slot` in front of its callback's chain. For a callback that has a
// chain already (always so in a compaction) this allocates nothing.
void SlotTable::Link(std::uint32_t slot) {
  Slot& entry = storage_.slots[slot];
  std::uint32_t& first = firstOf_.try_emplace(entry.record.callback, kNoSlot).first->second;
  entry.previousSame = kNoSlot;
  entry.nextSame = first;
  if (first != kNoSlot)
    storage_.slots[first].previousSame = slot;
  first = slot;
}

void SlotTable::Unlink(std::uint32_t slot) {
  const Slot& entry = storage_.slots[slot];
  if (entry.nextSame != kNoSlot)
    storage_.slots[entry.nextSame].previousSame = entry.previousSame;
  if (entry.previousSame != kNoSlot) {
    storage_.slots[entry.previousSame].nextSame = entry.nextSame;
  } else if (entry.nextSame != kNoSlot) {
    firstOf_.find(entry.record.callback)->second = entry.nextSame;
  } else {
    firstOf_.erase(entry.record.callback);
  }
}

}  // namespace base
