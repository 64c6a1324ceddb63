// Two-byte conversions as table lookups: every pair of a page is converted
// once, on the page's first pair, and kept. A decoder call costs tens of
// nanoseconds under a lock; a lookup costs one read.
// Posix-private.
//
// A table holds no facts of its own: it is filled by asking the page's
// per-pair conversion about each of the 65,536 pairs, so it answers exactly as
// that conversion does, corrections of the sources included.
#ifndef BASE_PLATFORM_POSIX_CODEPAGE_PAIRS_POSIX_H_
#define BASE_PLATFORM_POSIX_CODEPAGE_PAIRS_POSIX_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace base::platform {

constexpr int kPairLength = 2;

// True, with the unit in `out`, when the two bytes at `pair` convert to
// exactly one UTF-16 unit; false leaves `out` alone.
using PairConversion = std::function<bool(const char* pair, std::uint16_t& out)>;

// The answers of one page's per-pair conversion for all pairs. Immutable once
// made, so any thread may read it. 128 KiB when some pair converts, nothing
// beyond the object when none does (a single-byte page).
class PairTable {
 public:
  PairTable(std::uint32_t page, const PairConversion& convert);

  std::uint32_t page() const { return page_; }

  // What `convert` answered for the two bytes at `pair`.
  bool Find(const char* pair, std::uint16_t& out) const;

 private:
  std::uint32_t page_;
  // One unit per pair, indexed by lead byte * 256 + trail byte.
  std::vector<std::uint16_t> units_;
  // The unit that stands for "no character" in units_: one that no pair
  // converts to. If a pair fails, at most 65,535 pairs convert, so such a
  // unit exists; if none fails, no unit is needed and this stays out of the
  // 16-bit range.
  std::int32_t noCharacter_ = -1;
};

// The tables of every page asked for a pair, each made on its page's first
// pair and kept until Clear or the end of the library. Any thread may convert.
class PairTables {
 public:
  // Makes the table of a resolved page; an empty one when the page is
  // unknown, so that a later pair of it costs a lookup, not a search for its
  // decoder. Like the library's other maps of pages, the tables gain a small
  // entry for each page number asked for.
  using Builder = std::unique_ptr<PairTable> (*)(std::uint32_t page);

  explicit PairTables(Builder build) : build_(build) {}

  // As the page's per-pair conversion answers for the two bytes at `pair`.
  // The first pair of a page builds its table; an allocation failure then
  // throws std::bad_alloc.
  bool Convert(std::uint32_t page, const char* pair, std::uint16_t& out);

  // Drops every table. For tests only: no conversion may run meanwhile.
  void Clear();

 private:
  // Finds or builds the table of `page` under the lock, and makes it the
  // last one.
  const PairTable& Get(std::uint32_t page);

  const Builder build_;
  std::mutex lock_;
  std::map<std::uint32_t, std::unique_ptr<PairTable>> tables_;
  // The table of the page last asked for, read without the lock: a reader
  // keeps to one page, so a lookup mostly skips the lock and the map.
  std::atomic<const PairTable*> last_{nullptr};
};

}  // namespace base::platform

#endif  // BASE_PLATFORM_POSIX_CODEPAGE_PAIRS_POSIX_H_
