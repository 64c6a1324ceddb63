// Writes what the library answers on this system for every listed code page,
// so that another system's answers can be compared with them
// (code_page_cross_check_test.cpp reads the file on Linux). Built for Windows,
// where the answers are the system's own:
//
//   code_page_dump OUTPUT
//
// One block per page:
//   page PAGE default UNIT    the default character in hex, or -1
//   map V0 V1 ... V255        the byte map in decimal, or "map none"
//   pair BYTES UNIT           every pair (lead << 8 | trail, hex) whose
//                             CPConvert differs from the default, with it
// and at the end one line of every page from 4 to 65535 that has a map:
//   served PAGE PAGE ...
#include <cstdio>

#include "base/encoding.h"
#include "platform/testing/codepage_testing.h"

namespace {

using base::platform::testing::kListedCodePages;

// 0 to 3 stand for the system's own pages.
constexpr int kFirstRealPage = 4;
constexpr int kLastPage = 65535;

void DumpPage(std::FILE* out, int page) {
  const int defaultChar = XmlText::Encoding::GetCPDefChar(page);
  if (defaultChar < 0)
    std::fprintf(out, "page %d default -1\n", page);
  else
    std::fprintf(out, "page %d default %04X\n", page, defaultChar);
  const int* map = XmlText::Encoding::GetCPMap(page);
  std::fputs("map", out);
  if (map == nullptr)
    std::fputs(" none", out);
  for (int byte = 0; map != nullptr && byte < 256; ++byte)
    std::fprintf(out, " %d", map[byte]);
  std::fputc('\n', out);
  for (int bytes = 0; bytes <= 0xFFFF; ++bytes) {
    const char pair[2] = {static_cast<char>(bytes >> 8), static_cast<char>(bytes & 0xFF)};
    const int unit = XmlText::Encoding::CPConvert(page, pair);
    if (unit != defaultChar)
      std::fprintf(out, "pair %04X %04X\n", bytes, unit);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: code_page_dump OUTPUT\n", stderr);
    return 2;
  }
  // Binary: the reader expects "\n" alone on every system.
  std::FILE* out = std::fopen(argv[1], "wb");
  if (out == nullptr) {
    std::perror(argv[1]);
    return 1;
  }
  for (int page : kListedCodePages)
    DumpPage(out, page);
  std::fputs("served", out);
  for (int page = kFirstRealPage; page <= kLastPage; ++page) {
    if (XmlText::Encoding::GetCPMap(page) != nullptr)
      std::fprintf(out, " %d", page);
  }
  std::fputc('\n', out);
  return std::fclose(out) == 0 ? 0 : 1;
}
