// Checks of a code page's characters against published tables, a list per
// page: single bytes through the page's map, pairs through CPConvert.
#ifndef BASE_TESTS_ENCODING_EXPECTED_UNITS_H_
#define BASE_TESTS_ENCODING_EXPECTED_UNITS_H_

#include <gtest/gtest.h>

#include <initializer_list>

#include "base/encoding.h"

namespace XmlText::Encoding {

inline int Pair(int page, int lead, int trail) {
  const char bytes[2] = {static_cast<char>(lead), static_cast<char>(trail)};
  return CPConvert(page, bytes);
}

struct Expected {
  int bytes;  // a byte, looked up in the map, or a pair (lead << 8 | trail)
  int unit;
};

inline void ExpectUnits(int page, std::initializer_list<Expected> expected) {
  const int* map = GetCPMap(page);
  ASSERT_NE(map, nullptr) << page;
  for (const Expected& e : expected) {
    const int unit = e.bytes < 0x100 ? map[e.bytes] : Pair(page, e.bytes >> 8, e.bytes & 0xFF);
    EXPECT_EQ(unit, e.unit) << page << " 0x" << std::hex << e.bytes;
  }
}

}  // namespace XmlText::Encoding

#endif  // BASE_TESTS_ENCODING_EXPECTED_UNITS_H_
