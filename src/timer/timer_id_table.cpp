#include "timer/timer_id_table.h"

namespace base {
namespace {

constexpr std::size_t kMinimumEntries = 16;

}  // namespace

std::size_t TimerIdTable::Home(std::uint32_t id) const {
  // Fibonacci hashing: ids are often small and sequential, and the top bits
  // of the product spread them over the whole table.
  return static_cast<std::uint32_t>(id * 2654435769u) >> shift_;
}

std::size_t TimerIdTable::IndexOf(std::uint32_t id) const {
  if (id == 0 || entries_.empty())
    return entries_.size();
  for (std::size_t i = Home(id);; i = (i + 1) & Mask()) {
    if (entries_[i].id == id)
      return i;
    if (entries_[i].id == 0)
      return entries_.size();
  }
}

std::uint32_t TimerIdTable::Find(std::uint32_t id) const {
  const std::size_t i = IndexOf(id);
  return i == entries_.size() ? kAbsent : entries_[i].slot;
}

void TimerIdTable::Reserve(std::size_t count) {
  if (count * 2 <= entries_.size())
    return;
  std::size_t size = kMinimumEntries;
  unsigned shift = 32 - 4;
  while (size < count * 2) {
    size *= 2;
    --shift;
  }
  std::vector<Entry> old(size, Entry{0, 0});
  old.swap(entries_);
  shift_ = shift;
  count_ = 0;
  for (const Entry& e : old) {
    if (e.id != 0)
      Insert(e.id, e.slot);
  }
}

void TimerIdTable::Insert(std::uint32_t id, std::uint32_t slot) {
  std::size_t i = Home(id);
  while (entries_[i].id != 0)
    i = (i + 1) & Mask();
  entries_[i] = Entry{id, slot};
  ++count_;
}

void TimerIdTable::Erase(std::uint32_t id) {
  std::size_t hole = IndexOf(id);
  if (hole == entries_.size())
    return;
  // Pull back every later entry of the run that may live in the hole, so that
  // no probe sequence is broken by the gap.
  for (std::size_t j = (hole + 1) & Mask(); entries_[j].id != 0; j = (j + 1) & Mask()) {
    const std::size_t home = Home(entries_[j].id);
    if (((j - home) & Mask()) >= ((j - hole) & Mask())) {
      entries_[hole] = entries_[j];
      hole = j;
    }
  }
  entries_[hole] = Entry{0, 0};
  --count_;
}

}  // namespace base
