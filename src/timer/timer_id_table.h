// The callback timers' ids: from a non-zero id to the slot of its record.
//
// Open addressing with linear probing and backward-shift deletion, so a
// lookup touches one or two cache lines and an erase leaves no tombstones
// behind; a node map at 100,000 ids costs a cache miss per step instead.
// Id 0 is never filed, and marks an empty entry.
//
// Not locked: the owner serialises.
#ifndef BASE_TIMER_TIMER_ID_TABLE_H_
#define BASE_TIMER_TIMER_ID_TABLE_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace base {

class TimerIdTable {
 public:
  static constexpr std::uint32_t kAbsent = UINT32_MAX;

  TimerIdTable() = default;
  TimerIdTable(const TimerIdTable&) = delete;
  TimerIdTable& operator=(const TimerIdTable&) = delete;

  // The slot filed under `id`, or kAbsent. Id 0 is always absent.
  std::uint32_t Find(std::uint32_t id) const;

  // Makes room for `count` ids, so that Insert up to then cannot throw.
  // std::bad_alloc leaves the table as it was.
  void Reserve(std::size_t count);

  // Files a non-zero `id` that is not filed yet. Room must have been reserved.
  void Insert(std::uint32_t id, std::uint32_t slot);

  // Forgets `id` if it is filed.
  void Erase(std::uint32_t id);

  std::size_t Size() const { return count_; }

 private:
  struct Entry {
    std::uint32_t id;  // 0: empty
    std::uint32_t slot;
  };

  std::size_t Mask() const { return entries_.size() - 1; }
  std::size_t Home(std::uint32_t id) const;
  std::size_t IndexOf(std::uint32_t id) const;  // entries_.size() if absent

  std::vector<Entry> entries_;  // a power of two in size, at most half full
  std::size_t count_ = 0;
  unsigned shift_ = 32;  // 32 - log2(entries_.size())
};

}  // namespace base

#endif  // BASE_TIMER_TIMER_ID_TABLE_H_
