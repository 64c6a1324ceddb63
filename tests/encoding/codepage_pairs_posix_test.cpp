#include "platform/posix/codepage_pairs_posix.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>

#include "platform/codepage.h"
#include "platform/testing/codepage_testing.h"

namespace base::platform {
namespace {

int IndexOf(const char* pair) {
  return static_cast<unsigned char>(pair[0]) << 8 | static_cast<unsigned char>(pair[1]);
}

// Looks every pair up and counts the answers that differ from `expected`,
// which gives -1 for a pair that converts to nothing.
template <typename Expected>
int CountWrongAnswers(const PairTable& table, Expected expected) {
  int wrong = 0;
  for (int index = 0; index < 1 << 16; ++index) {
    const char pair[kPairLength] = {static_cast<char>(index >> 8), static_cast<char>(index)};
    std::uint16_t unit = 0xBEEF;
    const bool found = table.Find(pair, unit);
    const int want = expected(index);
    wrong += found ? want != unit : want >= 0 || unit != 0xBEEF;
  }
  return wrong;
}

TEST(CodePagePairTableTest, AnswersAsItsConversionDidWhicheverUnitsThePairsTake) {
  // Every pair converts and every unit is taken: nothing can mark a failure.
  const PairTable everyUnit(1, [](const char* pair, std::uint16_t& out) {
    out = static_cast<std::uint16_t>(IndexOf(pair) ^ 0x5A5A);
    return true;
  });
  EXPECT_EQ(CountWrongAnswers(everyUnit, [](int index) { return index ^ 0x5A5A; }), 0);

  // One pair fails and the others take every unit but one, 0 and 0xFFFF among
  // them, so a fixed marker of failure would turn a character into a failure.
  constexpr int kFailing = 0x8140;
  const auto shifted = [](int index) { return index == kFailing ? -1 : (index + 1) & 0xFFFF; };
  const PairTable allButOne(2, [&shifted](const char* pair, std::uint16_t& out) {
    const int unit = shifted(IndexOf(pair));
    if (unit < 0)
      return false;
    out = static_cast<std::uint16_t>(unit);
    return true;
  });
  EXPECT_EQ(CountWrongAnswers(allButOne, shifted), 0);

  // A page of single bytes: no pair converts, and no unit is kept.
  const PairTable none(3, [](const char*, std::uint16_t&) { return false; });
  EXPECT_EQ(CountWrongAnswers(none, [](int) { return -1; }), 0);
}

TEST(CodePagePairTableTest, ATableBuiltOnOneThreadIsWholeOnAnother) {
  // The reader takes the tables' lock before the table of 949 is built, then
  // learns of it through flags that order nothing: only the way the table is
  // handed out can make its contents visible to the reader (the thread
  // sanitizer build sees a race if it does not).
  testing::CloseCodePageConverters();
  std::atomic<bool> readerStarted{false};
  std::atomic<bool> built{false};
  std::uint16_t unit = 0;
  std::thread reader([&] {
    std::uint16_t other = 0;
    EXPECT_TRUE(ConvertToOneUnit(950, "\xA4\x40", kPairLength, other));
    readerStarted.store(true, std::memory_order_relaxed);
    while (!built.load(std::memory_order_relaxed))
      std::this_thread::yield();
    EXPECT_TRUE(ConvertToOneUnit(949, "\xB0\xA1", kPairLength, unit));
  });
  while (!readerStarted.load(std::memory_order_relaxed))
    std::this_thread::yield();
  std::uint16_t own = 0;
  EXPECT_TRUE(ConvertToOneUnit(949, "\xB0\xA1", kPairLength, own));
  built.store(true, std::memory_order_relaxed);
  reader.join();
  EXPECT_EQ(unit, 0xAC00);
}

}  // namespace
}  // namespace base::platform
