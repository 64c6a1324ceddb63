// Compares every answer of the posix backend with what Windows gives, as
// code_page_dump wrote it under Wine: for each page the default character,
// the 256 entries of the map and CPConvert of all 65,536 pairs. A difference
// passes only when code_page_differences.txt lists it with its reason, and
// every line of that list must still match a difference, so that it stays
// short and true. scripts/check-code-pages.sh runs this with the dump; it is
// no ctest test, since the dump comes from the Windows build.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "base/encoding.h"

namespace XmlText::Encoding {
namespace {

constexpr int kPairs = 0x10000;
constexpr int kFirstRealPage = 4;  // 0 to 3 stand for the system's own pages
constexpr int kLastPage = 65535;
// A pair's answer when it is the page's default, whichever that is: the two
// systems' defaults are compared once per page, not once per pair.
constexpr int kDefault = -100;

struct WindowsPage {
  int page = 0;
  int defaultChar = -1;
  std::vector<int> map;  // empty: no map
  std::map<int, int> pairs;
};

struct WindowsDump {
  std::vector<WindowsPage> pages;
  std::vector<int> served;  // every page with a map
};

WindowsDump ReadDump(const std::string& path) {
  std::ifstream in(path);
  WindowsDump dump;
  std::vector<WindowsPage>& pages = dump.pages;
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    std::string kind;
    fields >> kind;
    if (kind == "served") {
      int page = 0;
      while (fields >> page)
        dump.served.push_back(page);
    } else if (kind == "page") {
      pages.emplace_back();
      std::string word;
      std::string defaultChar;
      fields >> pages.back().page >> word >> defaultChar;
      pages.back().defaultChar = defaultChar == "-1" ? -1 : std::stoi(defaultChar, nullptr, 16);
    } else if (pages.empty()) {
      continue;  // a line before the first page: not the dump's
    } else if (kind == "map") {
      int value = 0;
      while (fields >> value)
        pages.back().map.push_back(value);
    } else if (kind == "pair") {
      std::string bytes;
      std::string unit;
      fields >> bytes >> unit;
      pages.back().pairs[std::stoi(bytes, nullptr, 16)] = std::stoi(unit, nullptr, 16);
    }
  }
  return dump;
}

// One line of the list: a page, a kind ("served", "default", "byte", "pair",
// or "private-use" for a byte with a private-use character here and none
// under Wine), for the last three a byte or pair in hex or a range of them
// (first-last), then why the systems differ there.
struct Accepted {
  int page = 0;
  std::string kind;
  int first = 0;
  int last = 0;
  std::string line;
  int matched = 0;
};

std::vector<Accepted> ReadAccepted(const std::string& path) {
  std::ifstream in(path);
  std::vector<Accepted> accepted;
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#')
      continue;
    std::istringstream fields(line);
    Accepted entry;
    fields >> entry.page >> entry.kind;
    if (entry.kind != "served" && entry.kind != "default") {
      std::string range;
      fields >> range;
      const std::size_t dash = range.find('-');
      entry.first = std::stoi(range.substr(0, dash), nullptr, 16);
      entry.last =
          dash == std::string::npos ? entry.first : std::stoi(range.substr(dash + 1), nullptr, 16);
    }
    entry.line = line;
    accepted.push_back(entry);
  }
  return accepted;
}

struct Difference {
  int page;
  std::string kind;
  int bytes;
  int linuxAnswer;
  int windowsAnswer;
};

int LinuxPair(int page, int bytes, int defaultChar) {
  const char pair[2] = {static_cast<char>(bytes >> 8), static_cast<char>(bytes & 0xFF)};
  const int unit = CPConvert(page, pair);
  return unit == defaultChar ? kDefault : unit;
}

// Pages that one system gives a map and the other does not.
void CompareServed(const std::vector<int>& windowsServed, std::vector<Difference>& out) {
  std::vector<bool> windows(kLastPage + 1, false);
  for (int page : windowsServed)
    windows[static_cast<std::size_t>(page)] = true;
  for (int page = kFirstRealPage; page <= kLastPage; ++page) {
    const bool here = GetCPMap(page) != nullptr;
    if (here != windows[static_cast<std::size_t>(page)])
      out.push_back({page, "served", 0, here, windows[static_cast<std::size_t>(page)]});
  }
}

void Compare(const WindowsPage& windows, std::vector<Difference>& out) {
  const int page = windows.page;
  const int* map = GetCPMap(page);
  if (map == nullptr || windows.map.empty())
    return;  // counted by CompareServed
  const int defaultChar = GetCPDefChar(page);
  if (defaultChar != windows.defaultChar)
    out.push_back({page, "default", 0, defaultChar, windows.defaultChar});
  for (int byte = 0; byte < 256; ++byte) {
    if (map[byte] != windows.map[static_cast<std::size_t>(byte)])
      out.push_back({page, "byte", byte, map[byte], windows.map[static_cast<std::size_t>(byte)]});
  }
  for (int bytes = 0; bytes < kPairs; ++bytes) {
    const auto found = windows.pairs.find(bytes);
    const int windowsAnswer = found == windows.pairs.end() ? kDefault : found->second;
    const int linuxAnswer = LinuxPair(page, bytes, defaultChar);
    if (linuxAnswer != windowsAnswer)
      out.push_back({page, "pair", bytes, linuxAnswer, windowsAnswer});
  }
}

// A byte that has a private-use character here and none under Wine.
bool IsPrivateUseByte(const Difference& d) {
  return d.kind == "byte" && d.linuxAnswer >= 0xE000 && d.linuxAnswer <= 0xF8FF &&
         d.windowsAnswer == kInvalidByte;
}

bool Covers(const Accepted& entry, const Difference& difference) {
  const bool kindMatches =
      entry.kind == "private-use" ? IsPrivateUseByte(difference) : entry.kind == difference.kind;
  return entry.page == difference.page && kindMatches && difference.bytes >= entry.first &&
         difference.bytes <= entry.last;
}

Accepted* FindAccepted(std::vector<Accepted>& accepted, const Difference& difference) {
  for (Accepted& entry : accepted) {
    if (Covers(entry, difference))
      return &entry;
  }
  return nullptr;
}

std::string Describe(const Difference& d) {
  std::ostringstream text;
  text << d.page << ' ' << d.kind << ' ' << std::hex << std::uppercase << d.bytes << std::dec
       << ": here " << d.linuxAnswer << ", Windows " << d.windowsAnswer;
  return text.str();
}

TEST(CodePageCrossCheckTest, EveryAnswerIsWindowsOrAnAcceptedDifference) {
  const char* dumpPath = std::getenv("BASE_WINDOWS_CODE_PAGES");
  ASSERT_NE(dumpPath, nullptr) << "set BASE_WINDOWS_CODE_PAGES to code_page_dump's output";
  const WindowsDump windows = ReadDump(dumpPath);
  ASSERT_GE(windows.pages.size(), 68u) << dumpPath;
  ASSERT_FALSE(windows.served.empty()) << dumpPath;
  for (const WindowsPage& page : windows.pages)
    ASSERT_TRUE(page.map.empty() || page.map.size() == 256) << "cut map of " << page.page;
  std::vector<Accepted> accepted = ReadAccepted(BASE_CODE_PAGE_DIFFERENCES);
  ASSERT_FALSE(accepted.empty());

  std::vector<Difference> differences;
  CompareServed(windows.served, differences);
  for (const WindowsPage& page : windows.pages)
    Compare(page, differences);
  int unexplained = 0;
  for (const Difference& difference : differences) {
    Accepted* entry = FindAccepted(accepted, difference);
    if (entry != nullptr)
      ++entry->matched;
    else if (++unexplained <= 200)
      ADD_FAILURE() << "not listed: " << Describe(difference);
  }
  EXPECT_EQ(unexplained, 0);
  for (const Accepted& entry : accepted) {
    EXPECT_GT(entry.matched, 0) << "listed, but no longer differs: " << entry.line;
    std::printf("%5d  %s\n", entry.matched, entry.line.c_str());
  }
}

}  // namespace
}  // namespace XmlText::Encoding
