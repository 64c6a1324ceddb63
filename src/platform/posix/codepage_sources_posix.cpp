// Sources of the Windows code pages on Linux. ICU's "windows-NNN" converters
// match the Windows tables far more closely than its "cpNNN" and "ibm-NNN"
// tables or glibc's iconv (for 949 and 950 those differ in thousands of
// pairs), Microsoft's own choices included, such as 0x8160 of page 932 to
// U+FF5E. Where ICU has no Windows name for a page, its IBM, Mac or standard
// name stands in; where ICU has no table at all, glibc's iconv does. A
// single-byte page that neither has in Microsoft's edition is a table
// generated once from Wine's NLS files.
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

// Pages that ICU does not know as "windows-NNN", or whose "windows-NNN" table
// is not Microsoft's. The Mac Japanese and Chinese pages are Shift-JIS and Big5
// with Apple's single-byte signs. 10003 and 20949 come from glibc because
// ICU's EUC-KR lacks the euro and registered signs and calls every byte from
// 0xA1 to 0xFE a lead byte, empty rows included. The single-byte pages where
// no library has Microsoft's edition (Mac Arabic and Hebrew have none at all)
// are tables generated from Wine's NLS files.
constexpr NamedSource kNamedSources[] = {
    {37, ConversionLibrary::kIcu, "ibm-37"},
    {500, ConversionLibrary::kIcu, "ibm-500"},
    {708, ConversionLibrary::kWineTable, "c_708"},
    {860, ConversionLibrary::kIcu, "ibm-860"},
    {863, ConversionLibrary::kIcu, "ibm-863"},
    {864, ConversionLibrary::kWineTable, "c_864"},
    {865, ConversionLibrary::kIcu, "ibm-865"},
    {869, ConversionLibrary::kWineTable, "c_869"},
    {875, ConversionLibrary::kIcu, "ibm-875"},
    {1026, ConversionLibrary::kIcu, "ibm-1026"},
    {1255, ConversionLibrary::kWineTable, "c_1255"},
    {1361, ConversionLibrary::kIconv, "JOHAB", CodePageSource::Adaptation::kWindowsJohab},
    {10000, ConversionLibrary::kWineTable, "c_10000"},
    {10001, ConversionLibrary::kIcu, "windows-932"},
    {10002, ConversionLibrary::kIcu, "windows-950"},
    {10003, ConversionLibrary::kIconv, "EUC-KR"},
    {10004, ConversionLibrary::kWineTable, "c_10004"},
    {10005, ConversionLibrary::kWineTable, "c_10005"},
    {10006, ConversionLibrary::kWineTable, "c_10006"},
    {10007, ConversionLibrary::kWineTable, "c_10007"},
    {10008, ConversionLibrary::kIconv, "EUC-CN"},
    {10010, ConversionLibrary::kWineTable, "c_10010"},
    {10017, ConversionLibrary::kIconv, "MAC-UK"},
    {10021, ConversionLibrary::kWineTable, "c_10021"},
    {10079, ConversionLibrary::kWineTable, "c_10079"},
    {10081, ConversionLibrary::kWineTable, "c_10081"},
    {10082, ConversionLibrary::kWineTable, "c_10082"},
    {20127, ConversionLibrary::kWineTable, "c_20127"},
    {20932, ConversionLibrary::kIconv, "EUC-JP", CodePageSource::Adaptation::kDoubleByteEucJp},
    {20949, ConversionLibrary::kIconv, "EUC-KR"},
    {21866, ConversionLibrary::kWineTable, "c_21866"},
    {28591, ConversionLibrary::kIcu, "ISO-8859-1"},
    {28597, ConversionLibrary::kWineTable, "c_28597"},
    {28598, ConversionLibrary::kWineTable, "c_28598"},
    {kUtf8Page, ConversionLibrary::kIcu, "UTF-8"},
};

// Pages that ICU knows by a Windows name but Windows serves to no multibyte
// caller: UTF-16, DOS Latin 1 with the euro (858) and EUC-KR as 51949.
constexpr std::uint32_t kUnservedPages[] = {858, 1200, 1201, 51949};

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
    // The micro sign of the DOS pages (ICU has the Greek mu), and a sign of
    // 852.
    {437, 0xE6, 0x00B5}, {860, 0xE6, 0x00B5}, {861, 0xE6, 0x00B5}, {862, 0xE6, 0x00B5},
    {863, 0xE6, 0x00B5}, {865, 0xE6, 0x00B5},
    {852, 0xAA, 0x00AC},
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
    // The bytes that begin rows left empty in the Korean and Chinese sets are
    // single bytes with U+0000 in Microsoft's tables.
    {10003, 0xC9, 0x0000}, {20949, 0xC9, 0x0000},
    {10008, 0xAA, 0x0000}, {10008, 0xAB, 0x0000}, {10008, 0xAC, 0x0000}, {10008, 0xAD, 0x0000},
    {10008, 0xAE, 0x0000}, {10008, 0xAF, 0x0000},
};
// clang-format on

// Pairs where the source follows a later edition of its standard than
// Microsoft's table: signs added since (the euro in Big5, KS X 1001:1998's
// euro, registered and circled hangul signs), and three that moved.
struct PairOverride {
  std::uint32_t page;
  std::uint16_t pair;
  bool defined;
  std::uint16_t unit;
};
// clang-format off
constexpr PairOverride kWindowsPairOverrides[] = {
    {1361, 0xD9E8, false, 0}, {10002, 0xA3E1, false, 0},
    {10003, 0xA2E6, false, 0}, {10003, 0xA2E7, false, 0}, {10003, 0xA2E8, false, 0},
    {20949, 0xA2E8, false, 0},
    {10003, 0xB4D3, true, 0xB2D6}, {10008, 0xA1AC, true, 0x2225}, {20932, 0xA237, true, 0x007E},
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
  for (std::uint32_t unserved : kUnservedPages) {
    if (unserved == page)
      return source;
  }
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

PairOverrides::PairOverrides(std::uint32_t page) {
  for (const PairOverride& entry : kWindowsPairOverrides) {
    if (entry.page == page)
      entries_.push_back({entry.pair, entry.defined, entry.unit});
  }
}

bool PairOverrides::Find(std::uint16_t pair, bool& defined, std::uint16_t& out) const {
  for (const Entry& entry : entries_) {
    if (entry.pair == pair) {
      defined = entry.defined;
      if (defined)
        out = entry.unit;
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
