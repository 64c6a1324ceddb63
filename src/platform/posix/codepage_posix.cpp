// Code pages from ICU. ICU's "windows-NNN" converters match the Windows tables
// far more closely than its "cpNNN" and "ibm-NNN" tables or glibc's iconv (for
// 949 and 950 those differ in thousands of pairs), Microsoft's own choices
// included, such as 0x8160 of page 932 to U+FF5E. A page ICU cannot open is
// unknown, as an uninstalled page is on Windows.
//
// One converter is opened per page on first use and kept until the process or
// the library ends: an open costs several times a two-byte conversion. A
// converter holds state, so all use goes through one lock.
#include "platform/codepage.h"

#include <unicode/ucnv.h>

#include <atomic>
#include <map>
#include <mutex>
#include <string>

#include "platform/testing/codepage_testing.h"

namespace base::platform {
namespace {

constexpr std::uint32_t kHighestPage = 65535;
constexpr std::uint32_t kUtf8Page = 65001;

std::atomic<int> g_info_queries{0};
std::atomic<int> g_converter_opens{0};

// The pseudo pages (ANSI, OEM, Mac, thread ANSI) as an English-language
// Windows resolves them. The library reads no locale or environment.
std::uint32_t ResolvePseudoPage(std::uint32_t page) {
  switch (page) {
    case 0:
    case 3:
      return 1252;
    case 1:
      return 437;
    case 2:
      return 10000;
    default:
      return page;
  }
}

// ICU's name for the Windows table of `page`, or "" for a page that Windows
// serves to no caller of its multibyte functions.
std::string ConverterName(std::uint32_t page) {
  switch (page) {
    case 28591:
      return "ISO-8859-1";
    case 20127:
      return "US-ASCII";
    case kUtf8Page:
      return "UTF-8";
    case 860:  // DOS pages that ICU carries under their IBM names only
    case 863:
    case 864:
    case 865:
      return "ibm-" + std::to_string(page);
    case 1200:  // UTF-16 is not a multibyte page on Windows; ICU would open it.
    case 1201:
      return "";
    default:
      return "windows-" + std::to_string(page);
  }
}

// ICU has no notion of a page's default character. Windows uses the question
// mark for almost every page, the katakana middle dot for Japanese (932) and
// the replacement character for UTF-8.
std::uint16_t UnicodeDefaultChar(std::uint32_t page) {
  switch (page) {
    case 932:
      return 0x30FB;
    case kUtf8Page:
      return 0xFFFD;
    default:
      return 0x003F;
  }
}

// A converter that stops at the first illegal or unassigned input instead of
// substituting, as the Windows conversion does when asked to fail on invalid
// characters. Null when the page cannot be opened.
UConverter* OpenStrictConverter(const std::string& name) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter = ucnv_open(name.c_str(), &status);
  if (U_FAILURE(status))
    return nullptr;
  ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  if (U_FAILURE(status)) {
    ucnv_close(converter);
    return nullptr;
  }
  return converter;
}

bool ToOneUnit(UConverter* converter, const char* bytes, int length, std::uint16_t& out) {
  // ucnv_toUChars resets the converter first and flushes at the end, so a
  // lead byte left without its trail fails instead of waiting for more input.
  UChar unit = 0;
  UErrorCode status = U_ZERO_ERROR;
  const int32_t units = ucnv_toUChars(converter, &unit, 1, bytes, length, &status);
  if (U_FAILURE(status) || units != 1)
    return false;
  out = unit;
  return true;
}

// ICU's tables of IBM origin (the DOS pages, and 932) rotate three control
// bytes the IBM PC way: 0x1A to U+001C, 0x1C to U+007F, 0x7F to U+001A.
// Windows maps each of them to itself. The rotation is recognised in the
// table, not assumed from a list of pages.
constexpr char kRotatedControls[] = {0x1A, 0x1C, 0x7F};

bool RotatesControls(UConverter* converter) {
  std::uint16_t unit = 0;
  const char del = 0x7F;
  return ToOneUnit(converter, &del, 1, unit) && unit == 0x1A;
}

bool IsRotatedControl(char byte) {
  for (char control : kRotatedControls) {
    if (byte == control)
      return true;
  }
  return false;
}

// Single bytes that Windows maps and ICU's tables of the same page do not, or
// map elsewhere, as Microsoft's published tables give them: 932's end points
// and private-use bytes, 1253's private-use bytes, the C1 bytes of 720, the
// micro sign of the DOS pages (ICU has the Greek mu), and a few signs of 852,
// 864 and 869.
struct ByteOverride {
  std::uint32_t page;
  unsigned char byte;
  std::uint16_t unit;
};
constexpr ByteOverride kWindowsByteOverrides[] = {
    {932, 0x80, 0x0080}, {932, 0xA0, 0xF8F0},  {932, 0xFD, 0xF8F1},  {932, 0xFE, 0xF8F2},
    {932, 0xFF, 0xF8F3}, {1253, 0xAA, 0xF8F9}, {1253, 0xD2, 0xF8FA}, {1253, 0xFF, 0xF8FB},
    {720, 0x80, 0x0080}, {720, 0x81, 0x0081},  {720, 0x84, 0x0084},  {720, 0x86, 0x0086},
    {720, 0x8D, 0x008D}, {720, 0x8E, 0x008E},  {720, 0x8F, 0x008F},  {720, 0x90, 0x0090},
    {437, 0xE6, 0x00B5}, {860, 0xE6, 0x00B5},  {861, 0xE6, 0x00B5},  {862, 0xE6, 0x00B5},
    {863, 0xE6, 0x00B5}, {865, 0xE6, 0x00B5},  {852, 0xAA, 0x00AC},  {864, 0x25, 0x066A},
    {864, 0xD7, 0xFEC1}, {864, 0xD8, 0xFEC5},  {864, 0xF1, 0x0651},  {869, 0x88, 0x00B7},
    {869, 0xEF, 0x0384},
};

bool FindByteOverride(std::uint32_t page, char byte, std::uint16_t& out) {
  for (const ByteOverride& entry : kWindowsByteOverrides) {
    if (entry.page == page && entry.byte == static_cast<unsigned char>(byte)) {
      out = entry.unit;
      return true;
    }
  }
  return false;
}

struct PageConverter {
  UConverter* converter = nullptr;  // null: the page is unknown
  bool rotates_controls = false;
};

PageConverter OpenPage(std::uint32_t page) {
  g_converter_opens.fetch_add(1, std::memory_order_relaxed);
  PageConverter opened;
  const std::string name = ConverterName(page);
  if (name.empty())
    return opened;
  opened.converter = OpenStrictConverter(name);
  opened.rotates_controls = opened.converter && RotatesControls(opened.converter);
  return opened;
}

// Converters by resolved page. Pages that failed to open are kept as null, so
// an unknown page costs one lookup per call, not one failed open. Page numbers
// end at 65535, which bounds the map.
class ConverterCache {
 public:
  ConverterCache() = default;
  ConverterCache(const ConverterCache&) = delete;
  ConverterCache& operator=(const ConverterCache&) = delete;
  ~ConverterCache() {
    for (auto& entry : converters_) {
      if (entry.second.converter)
        ucnv_close(entry.second.converter);
    }
  }

  std::mutex& lock() { return lock_; }

  // The caller holds lock(). `page` is already resolved.
  const PageConverter& Get(std::uint32_t page) {
    static const PageConverter kUnknown;
    if (page > kHighestPage)
      return kUnknown;
    auto found = converters_.find(page);
    if (found == converters_.end())
      found = converters_.emplace(page, OpenPage(page)).first;
    return found->second;
  }

 private:
  std::mutex lock_;
  std::map<std::uint32_t, PageConverter> converters_;
};

ConverterCache& Cache() {
  static ConverterCache cache;
  return cache;
}

// Turns ICU's 256 starter flags into (low, high) ranges, at most six. Pages
// that are not table-driven (UTF-8, ASCII) have no starters to report.
void FillLeadBytes(const UConverter* converter, std::uint8_t (&cells)[kLeadByteCells]) {
  UBool starters[256];
  UErrorCode status = U_ZERO_ERROR;
  ucnv_getStarters(converter, starters, &status);
  if (U_FAILURE(status))
    return;
  int cell = 0;
  int byte = 0;
  while (byte < 256 && cell < kLeadByteCells) {
    if (!starters[byte]) {
      ++byte;
      continue;
    }
    int high = byte;
    while (high < 255 && starters[high + 1])
      ++high;
    cells[cell++] = static_cast<std::uint8_t>(byte);
    cells[cell++] = static_cast<std::uint8_t>(high);
    byte = high + 1;
  }
}

}  // namespace

bool QueryCodePageInfo(std::uint32_t page, CodePageInfo& info) {
  g_info_queries.fetch_add(1, std::memory_order_relaxed);
  page = ResolvePseudoPage(page);
  ConverterCache& cache = Cache();
  std::lock_guard<std::mutex> hold(cache.lock());
  const UConverter* converter = cache.Get(page).converter;
  if (!converter)
    return false;
  CodePageInfo result;
  // ICU counts what one UTF-16 unit can need (3 bytes of UTF-8); Windows
  // counts a whole character (4).
  result.max_char_size =
      page == kUtf8Page ? 4 : static_cast<std::uint32_t>(ucnv_getMaxCharSize(converter));
  FillLeadBytes(converter, result.lead_bytes);
  result.unicode_default_char = UnicodeDefaultChar(page);
  info = result;
  return true;
}

bool ConvertToOneUnit(std::uint32_t page, const char* bytes, int length, std::uint16_t& out) {
  if (!bytes || length <= 0)
    return false;
  page = ResolvePseudoPage(page);
  ConverterCache& cache = Cache();
  std::lock_guard<std::mutex> hold(cache.lock());
  const PageConverter& opened = cache.Get(page);
  if (!opened.converter)
    return false;
  if (length == 1 && opened.rotates_controls && IsRotatedControl(bytes[0])) {
    out = static_cast<std::uint8_t>(bytes[0]);
    return true;
  }
  if (length == 1 && FindByteOverride(page, bytes[0], out))
    return true;
  return ToOneUnit(opened.converter, bytes, length, out);
}

namespace testing {

int CodePageInfoQueries() {
  return g_info_queries.load(std::memory_order_relaxed);
}

int CodePageConverterOpens() {
  return g_converter_opens.load(std::memory_order_relaxed);
}

}  // namespace testing
}  // namespace base::platform
