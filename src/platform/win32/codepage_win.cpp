// Code pages as the system knows them: every fact comes from GetCPInfoExW and
// MultiByteToWideChar, pseudo pages included, which the system resolves.
#include "platform/codepage.h"

#include <windows.h>

#include <algorithm>
#include <atomic>

#include "platform/testing/codepage_testing.h"

namespace base::platform {
namespace {

std::atomic<int> g_infoQueries{0};

// MB_PRECOMPOSED | MB_ERR_INVALID_CHARS: fail on any input that is not a
// character of the page instead of putting the default character in.
constexpr DWORD kStrictConversion = MB_PRECOMPOSED | MB_ERR_INVALID_CHARS;

}  // namespace

bool QueryCodePageInfo(std::uint32_t page, CodePageInfo& info) {
  g_infoQueries.fetch_add(1, std::memory_order_relaxed);
  CPINFOEXW system = {};
  if (!GetCPInfoExW(page, 0, &system))
    return false;
  CodePageInfo result;
  result.maxCharSize = system.MaxCharSize;
  std::copy(system.LeadByte, system.LeadByte + kLeadByteCells, result.leadBytes);
  result.unicodeDefaultChar = system.UnicodeDefaultChar;
  info = result;
  return true;
}

bool ConvertToOneUnit(std::uint32_t page, const char* bytes, int length, std::uint16_t& out) {
  if (!bytes || length <= 0)
    return false;
  wchar_t unit = 0;
  if (MultiByteToWideChar(page, kStrictConversion, bytes, length, &unit, 1) != 1)
    return false;
  out = static_cast<std::uint16_t>(unit);
  return true;
}

namespace testing {

int CodePageInfoQueries() {
  return g_infoQueries.load(std::memory_order_relaxed);
}

// The system converts without converters of the library's own.
int CodePageConverterOpens() {
  return 0;
}

void CloseCodePageConverters() {}

}  // namespace testing
}  // namespace base::platform
