// Sources of the Windows code pages on Linux. ICU's "windows-NNN" converters
// match the Windows tables far more closely than its "cpNNN" and "ibm-NNN"
// tables or glibc's iconv (for 949 and 950 those differ in thousands of
// pairs), Microsoft's own choices included, such as 0x8160 of page 932 to
// U+FF5E. Where ICU has no Windows name for a page, its IBM, Mac or standard
// name stands in; where ICU has no table at all, glibc's iconv does, and where
// neither has one, a table generated from Perl's Encode.
#include "platform/posix/codepage_sources_posix.h"

namespace base::platform {
namespace {

constexpr std::uint32_t kUtf8Page = 65001;

struct NamedSource {
  std::uint32_t page;
  ConversionLibrary library;
  const char* name;
  CodePageSource::Adaptation adaptation = CodePageSource::Adaptation::kNone;
};

// Pages that ICU does not know as "windows-NNN". The Mac Romanian and
// Icelandic pages are Mac Roman with a few letters replaced (see the byte
// overrides); the Mac Japanese and Chinese pages are Shift-JIS and Big5 with
// Apple's single-byte signs. 10003 and 20949 come from glibc because ICU's
// EUC-KR lacks the euro and registered signs and calls every byte from 0xA1 to
// 0xFE a lead byte, empty rows included. Mac Thai and Croatian are Apple's
// tables as Encode carries them.
constexpr NamedSource kNamedSources[] = {
    {37, ConversionLibrary::kIcu, "ibm-37"},
    {500, ConversionLibrary::kIcu, "ibm-500"},
    {708, ConversionLibrary::kIcu, "ASMO-708"},
    {860, ConversionLibrary::kIcu, "ibm-860"},
    {863, ConversionLibrary::kIcu, "ibm-863"},
    {864, ConversionLibrary::kIcu, "ibm-864"},
    {865, ConversionLibrary::kIcu, "ibm-865"},
    {875, ConversionLibrary::kIcu, "ibm-875"},
    {1026, ConversionLibrary::kIcu, "ibm-1026"},
    {1361, ConversionLibrary::kIconv, "JOHAB", CodePageSource::Adaptation::kWindowsJohab},
    {10001, ConversionLibrary::kIcu, "windows-932"},
    {10002, ConversionLibrary::kIcu, "windows-950"},
    {10003, ConversionLibrary::kIconv, "EUC-KR"},
    {10008, ConversionLibrary::kIconv, "EUC-CN"},
    {10010, ConversionLibrary::kIcu, "windows-10000"},
    {10017, ConversionLibrary::kIconv, "MAC-UK"},
    {10021, ConversionLibrary::kPerlEncode, "MacThai"},
    {10079, ConversionLibrary::kIcu, "windows-10000"},
    {10082, ConversionLibrary::kPerlEncode, "MacCroatian"},
    {20127, ConversionLibrary::kIcu, "US-ASCII"},
    {20932, ConversionLibrary::kIconv, "EUC-JP", CodePageSource::Adaptation::kDoubleByteEucJp},
    {20949, ConversionLibrary::kIconv, "EUC-KR"},
    {28591, ConversionLibrary::kIcu, "ISO-8859-1"},
    {kUtf8Page, ConversionLibrary::kIcu, "UTF-8"},
};

// Single bytes that Windows maps and the source of the same page does not, or
// maps elsewhere, as Microsoft's published tables give them.
struct ByteOverride {
  std::uint32_t page;
  unsigned char byte;
  std::uint16_t unit;
};
// Rows by page, kept by hand: clang-format would give each entry a line.
// clang-format off
constexpr ByteOverride kWindowsByteOverrides[] = {
    // 932's end points and private-use bytes; 1253's private-use bytes.
    {932, 0x80, 0x0080}, {932, 0xA0, 0xF8F0}, {932, 0xFD, 0xF8F1}, {932, 0xFE, 0xF8F2},
    {932, 0xFF, 0xF8F3},
    {1253, 0xAA, 0xF8F9}, {1253, 0xD2, 0xF8FA}, {1253, 0xFF, 0xF8FB},
    // The C1 bytes of 720 and of Johab, and the backslash Johab keeps where
    // glibc's table has the won sign.
    {720, 0x80, 0x0080}, {720, 0x81, 0x0081}, {720, 0x84, 0x0084}, {720, 0x86, 0x0086},
    {720, 0x8D, 0x008D}, {720, 0x8E, 0x008E}, {720, 0x8F, 0x008F}, {720, 0x90, 0x0090},
    {1361, 0x5C, 0x005C}, {1361, 0x80, 0x0080}, {1361, 0x81, 0x0081}, {1361, 0x82, 0x0082},
    {1361, 0x83, 0x0083},
    // The micro sign of the DOS pages (ICU has the Greek mu), and a few signs
    // of 852, 864 and 869.
    {437, 0xE6, 0x00B5}, {860, 0xE6, 0x00B5}, {861, 0xE6, 0x00B5}, {862, 0xE6, 0x00B5},
    {863, 0xE6, 0x00B5}, {865, 0xE6, 0x00B5},
    {852, 0xAA, 0x00AC},
    {864, 0x25, 0x066A}, {864, 0xD7, 0xFEC1}, {864, 0xD8, 0xFEC5}, {864, 0xF1, 0x0651},
    {869, 0x88, 0x00B7}, {869, 0xEF, 0x0384},
    // EBCDIC: Microsoft's 875 sends six unassigned bytes to SUB; its 1026 has
    // the feminine ordinal where IBM has since put the Turkish lira.
    {875, 0xDC, 0x001A}, {875, 0xE1, 0x001A}, {875, 0xEC, 0x001A}, {875, 0xED, 0x001A},
    {875, 0xFC, 0x001A}, {875, 0xFD, 0x001A},
    {1026, 0x9A, 0x00AA},
    // Apple's single bytes beside the double-byte sets of its Japanese and
    // Chinese pages.
    {10001, 0x80, 0x0080}, {10001, 0xA0, 0x00A0}, {10001, 0xFD, 0x00A9}, {10001, 0xFE, 0x2122},
    {10001, 0xFF, 0x2026},
    {10002, 0xFD, 0x00A9}, {10002, 0xFE, 0x2122}, {10002, 0xFF, 0x2026},
    {10008, 0x80, 0x0080},
    // Where Mac Romanian and Mac Icelandic depart from Mac Roman.
    {10010, 0xAE, 0x0102}, {10010, 0xAF, 0x015E}, {10010, 0xBE, 0x0103}, {10010, 0xBF, 0x015F},
    {10010, 0xDB, 0x00A4}, {10010, 0xDE, 0x0162}, {10010, 0xDF, 0x0163},
    {10079, 0xA0, 0x00DD}, {10079, 0xDB, 0x00A4}, {10079, 0xDC, 0x00D0}, {10079, 0xDD, 0x00F0},
    {10079, 0xDE, 0x00DE}, {10079, 0xDF, 0x00FE}, {10079, 0xE0, 0x00FD},
    // Apple's tables leave out DEL, and have since put the euro where Mac
    // Croatian had the currency sign and the word joiner for Mac Thai's
    // zero-width no-break space.
    {10082, 0x7F, 0x007F}, {10082, 0xDB, 0x00A4},
    {10021, 0xDB, 0xFEFF},
};
// clang-format on

// Mac Chinese (Traditional) numbers its user-defined pairs in byte order from
// U+E000: 0x8140-0x8DFE, 0x8E40-0xA0FE, 0xC6A1-0xC8FE, 0xFA40-0xFCFE. Its
// source, Big5 as 950 has it, puts the same areas in private use in another
// order (0xFA40 first), each area a run of 157 characters per row.
struct PrivateUseMove {
  std::uint32_t page;
  std::uint16_t first;
  std::uint16_t last;
  std::uint16_t windowsFirst;
};
constexpr PrivateUseMove kWindowsPrivateUseMoves[] = {
    {10002, 0xEEB8, 0xF6B0, 0xE000},  // rows 0x81-0x8D
    {10002, 0xE311, 0xEEB7, 0xE7F9},  // rows 0x8E-0xA0
    {10002, 0xF6B1, 0xF848, 0xF3A0},  // 0xC6A1-0xC8FE
    {10002, 0xE000, 0xE1D6, 0xF538},  // rows 0xFA-0xFC
};

}  // namespace

CodePageSource FindCodePageSource(std::uint32_t page) {
  CodePageSource source;
  if (page == 1200 || page == 1201)  // UTF-16 is no multibyte page on Windows.
    return source;
  for (const NamedSource& named : kNamedSources) {
    if (named.page == page) {
      source.library = named.library;
      source.name = named.name;
      source.adaptation = named.adaptation;
      return source;
    }
  }
  source.library = ConversionLibrary::kIcu;
  source.name = "windows-" + std::to_string(page);
  return source;
}

// ICU and iconv have no notion of a page's default character. Windows uses
// the question mark for almost every page, the katakana middle dot for the
// Japanese pages and the replacement character for UTF-8.
std::uint16_t UnicodeDefaultChar(std::uint32_t page) {
  switch (page) {
    case 932:
    case 10001:
    case 20932:
      return 0x30FB;
    case kUtf8Page:
      return 0xFFFD;
    default:
      return 0x003F;
  }
}

ByteOverrides::ByteOverrides(std::uint32_t page) {
  for (const ByteOverride& entry : kWindowsByteOverrides) {
    if (entry.page == page)
      units_.emplace_back(entry.byte, entry.unit);
  }
}

bool ByteOverrides::Find(unsigned char byte, std::uint16_t& out) const {
  for (const auto& unit : units_) {
    if (unit.first == byte) {
      out = unit.second;
      return true;
    }
  }
  return false;
}

PrivateUseMoves::PrivateUseMoves(std::uint32_t page) {
  for (const PrivateUseMove& move : kWindowsPrivateUseMoves) {
    if (move.page == page)
      runs_.push_back({move.first, move.last, move.windowsFirst});
  }
}

void PrivateUseMoves::Apply(std::uint16_t& unit) const {
  for (const Run& run : runs_) {
    if (unit >= run.first && unit <= run.last) {
      unit = static_cast<std::uint16_t>(run.windowsFirst + (unit - run.first));
      return;
    }
  }
}

}  // namespace base::platform
