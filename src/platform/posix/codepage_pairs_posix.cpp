#include "platform/posix/codepage_pairs_posix.h"

#include <utility>

namespace base::platform {
namespace {

constexpr int kPairCount = 1 << 16;
constexpr int kUnitCount = 1 << 16;

int PairIndex(const char* pair) {
  return static_cast<unsigned char>(pair[0]) << 8 | static_cast<unsigned char>(pair[1]);
}

// The lowest unit that no converted pair has, or -1 when every unit is taken.
std::int32_t FirstFreeUnit(const std::vector<bool>& taken) {
  for (std::int32_t unit = 0; unit < kUnitCount; ++unit) {
    if (!taken[unit])
      return unit;
  }
  return -1;
}

}  // namespace

PairTable::PairTable(std::uint32_t page, const PairConversion& convert) : page_(page) {
  std::vector<std::uint16_t> units(kPairCount);
  std::vector<bool> converts(kPairCount);
  std::vector<bool> taken(kUnitCount);
  bool anyConverts = false;
  bool allConvert = true;
  for (int index = 0; index < kPairCount; ++index) {
    const char pair[kPairLength] = {static_cast<char>(index >> 8), static_cast<char>(index)};
    std::uint16_t unit = 0;
    converts[index] = convert(pair, unit);
    if (converts[index]) {
      units[index] = unit;
      taken[unit] = true;
    }
    anyConverts = anyConverts || converts[index];
    allConvert = allConvert && converts[index];
  }
  if (!anyConverts)
    return;
  if (!allConvert) {
    noCharacter_ = FirstFreeUnit(taken);
    for (int index = 0; index < kPairCount; ++index) {
      if (!converts[index])
        units[index] = static_cast<std::uint16_t>(noCharacter_);
    }
  }
  units_ = std::move(units);
}

bool PairTable::Find(const char* pair, std::uint16_t& out) const {
  if (units_.empty())
    return false;
  const std::uint16_t unit = units_[PairIndex(pair)];
  if (unit == noCharacter_)
    return false;
  out = unit;
  return true;
}

bool PairTables::Convert(std::uint32_t page, const char* pair, std::uint16_t& out) {
  const PairTable* last = last_.load(std::memory_order_acquire);
  if (last && last->page() == page)
    return last->Find(pair, out);
  return Get(page).Find(pair, out);
}

const PairTable& PairTables::Get(std::uint32_t page) {
  std::lock_guard<std::mutex> hold(lock_);
  auto found = tables_.find(page);
  if (found == tables_.end())
    found = tables_.emplace(page, build_(page)).first;
  last_.store(found->second.get(), std::memory_order_release);
  return *found->second;
}

void PairTables::Clear() {
  std::lock_guard<std::mutex> hold(lock_);
  last_.store(nullptr, std::memory_order_release);
  tables_.clear();
}

}  // namespace base::platform
