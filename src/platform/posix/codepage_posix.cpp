// Code pages from the system's conversion libraries: each page's source is
// chosen in codepage_sources_posix.cpp, and its decoder wraps ICU, iconv or a
// table generated from Wine's NLS files. A page without a source is unknown,
// as an uninstalled page is on Windows.
//
// One decoder is opened per page on first use and kept until the process or
// the library ends: an open costs several times a two-byte conversion. A
// decoder holds state, so all use goes through one lock. Two-byte conversions
// are answered from tables that the decoders fill on a page's first pair
// (codepage_pairs_posix.h).
#include "platform/codepage.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/posix/codepage_decoder_posix.h"
#include "platform/posix/codepage_pairs_posix.h"
#include "platform/posix/codepage_sources_posix.h"
#include "platform/posix/mutex_owner_posix.h"
#include "platform/testing/codepage_testing.h"

namespace base::platform {
namespace {

constexpr std::uint32_t kHighestPage = 65535;
constexpr std::uint32_t kUtf8Page = 65001;

std::atomic<int> g_infoQueries{0};
std::atomic<int> g_converterOpens{0};

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

// ICU's tables of IBM origin (the DOS pages, and 932) rotate three control
// bytes the IBM PC way: 0x1A to U+001C, 0x1C to U+007F, 0x7F to U+001A.
// Windows maps each of them to itself. The rotation is recognised in the
// table, not assumed from a list of pages.
constexpr char kRotatedControls[] = {0x1A, 0x1C, 0x7F};

bool RotatesControls(CodePageDecoder& decoder) {
  std::uint16_t unit = 0;
  const char del = 0x7F;
  return decoder.ToOneUnit(&del, 1, unit) && unit == 0x1A;
}

bool IsRotatedControl(char byte) {
  for (char control : kRotatedControls) {
    if (byte == control)
      return true;
  }
  return false;
}

struct PageDecoder {
  explicit PageDecoder(std::uint32_t page)
      : overrides(page), pairOverrides(page), privateUse(page) {}

  std::unique_ptr<CodePageDecoder> decoder;  // null: the page is unknown
  ByteOverrides overrides;
  PairOverrides pairOverrides;
  PrivateUseMoves privateUse;
  bool rotatesControls = false;
  // Every byte alone is a character or invalid, so two bytes or more never
  // make one unit: a fallback CPConvert on such a page converts nothing.
  bool singleByte = false;
};

std::unique_ptr<CodePageDecoder> OpenLibraryDecoder(const CodePageSource& source) {
  switch (source.library) {
    case ConversionLibrary::kIcu:
      return OpenIcuDecoder(source.name.c_str());
    case ConversionLibrary::kIconv:
      return OpenIconvDecoder(source.name.c_str());
    case ConversionLibrary::kWineTable:
      return OpenWineTableDecoder(source.name.c_str());
    case ConversionLibrary::kNone:
      break;
  }
  return nullptr;
}

std::unique_ptr<CodePageDecoder> OpenDecoder(const CodePageSource& source) {
  std::unique_ptr<CodePageDecoder> decoder = OpenLibraryDecoder(source);
  switch (source.adaptation) {
    case CodePageSource::Adaptation::kDoubleByteEucJp:
      return OpenDoubleByteEucJpDecoder(std::move(decoder));
    case CodePageSource::Adaptation::kWindowsJohab:
      return OpenWindowsJohabDecoder(std::move(decoder));
    case CodePageSource::Adaptation::kNone:
      break;
  }
  return decoder;
}

PageDecoder OpenPage(std::uint32_t page) {
  g_converterOpens.fetch_add(1, std::memory_order_relaxed);
  PageDecoder opened(page);
  opened.decoder = OpenDecoder(FindCodePageSource(page));
  if (opened.decoder) {
    opened.rotatesControls = RotatesControls(*opened.decoder);
    opened.singleByte = opened.decoder->MaxCharSize() == 1;
  }
  return opened;
}

// Decoders by resolved page. Pages that failed to open are kept as null, so
// an unknown page costs one lookup per call, not one failed open. Page numbers
// end at 65535, which bounds the map.
class DecoderCache {
 public:
  std::mutex& lock() { return lock_; }

  // The caller holds lock(). `page` is already resolved. The decoder is null
  // when the page is unknown.
  const PageDecoder& Get(std::uint32_t page) {
    AssertHeld(lock_);
    static const PageDecoder kUnknown(0);
    if (page > kHighestPage)
      return kUnknown;
    auto found = decoders_.find(page);
    if (found == decoders_.end())
      found = decoders_.emplace(page, OpenPage(page)).first;
    return found->second;
  }

  // The caller holds lock().
  void Clear() {
    AssertHeld(lock_);
    decoders_.clear();
  }

 private:
  std::mutex lock_;
  std::map<std::uint32_t, PageDecoder> decoders_;
};

DecoderCache& Cache() {
  static DecoderCache cache;
  return cache;
}

// Turns the lead-byte flags into (low, high) ranges, at most six. A byte with
// a character of its own in the Windows table leads nothing.
void FillLeadBytes(const PageDecoder& opened, std::uint8_t (&cells)[kLeadByteCells]) {
  bool leads[kByteValues];
  opened.decoder->FindLeadBytes(leads);
  for (int byte = 0; byte < kByteValues; ++byte) {
    std::uint16_t unit = 0;
    leads[byte] = leads[byte] && !opened.overrides.Find(static_cast<unsigned char>(byte), unit);
  }
  int cell = 0;
  int byte = 0;
  while (byte < kByteValues && cell < kLeadByteCells) {
    if (!leads[byte]) {
      ++byte;
      continue;
    }
    int high = byte;
    while (high < kByteValues - 1 && leads[high + 1])
      ++high;
    cells[cell++] = static_cast<std::uint8_t>(byte);
    cells[cell++] = static_cast<std::uint8_t>(high);
    byte = high + 1;
  }
}

std::uint16_t PairOf(const char* bytes) {
  return static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[0]) << 8 |
                                    static_cast<unsigned char>(bytes[1]));
}

}  // namespace

bool QueryCodePageInfo(std::uint32_t page, CodePageInfo& info) {
  g_infoQueries.fetch_add(1, std::memory_order_relaxed);
  page = ResolvePseudoPage(page);
  DecoderCache& cache = Cache();
  std::lock_guard<std::mutex> hold(cache.lock());
  const PageDecoder& opened = cache.Get(page);
  CodePageDecoder* decoder = opened.decoder.get();
  if (!decoder)
    return false;
  CodePageInfo result;
  // ICU counts what one UTF-16 unit can need (3 bytes of UTF-8); Windows
  // counts a whole character (4).
  result.maxCharSize = page == kUtf8Page ? 4 : decoder->MaxCharSize();
  FillLeadBytes(opened, result.leadBytes);
  result.unicodeDefaultChar = UnicodeDefaultChar(page);
  info = result;
  return true;
}

namespace {

// The conversion of `length` bytes through the page's decoder, with the
// page's adaptations to Windows. The caller holds the cache's lock.
bool ConvertWithDecoder(const PageDecoder& opened,
                        const char* bytes,
                        int length,
                        std::uint16_t& out) {
  CodePageDecoder* decoder = opened.decoder.get();
  if (!decoder || (length > 1 && opened.singleByte))
    return false;
  if (length == 1 && opened.rotatesControls && IsRotatedControl(bytes[0])) {
    out = static_cast<std::uint8_t>(bytes[0]);
    return true;
  }
  std::uint16_t firstByteUnit = 0;
  if (opened.overrides.Find(static_cast<unsigned char>(bytes[0]), firstByteUnit)) {
    // A byte with a character of its own here begins two characters, even
    // where the source's table has it lead a pair (10002's 0xFD and 0xFE).
    if (length > 1)
      return false;
    out = firstByteUnit;
    return true;
  }
  bool defined = false;
  if (length == 2 && opened.pairOverrides.Find(PairOf(bytes), defined, out))
    return defined;
  if (!decoder->ToOneUnit(bytes, length, out))
    return false;
  opened.privateUse.Apply(out);
  return true;
}

// Every pair of `page` as the decoder path answers it, asked under one hold of
// the lock. An unknown page converts no pair, so its table is empty.
std::unique_ptr<PairTable> BuildPairTable(std::uint32_t page) {
  DecoderCache& cache = Cache();
  std::lock_guard<std::mutex> hold(cache.lock());
  const PageDecoder& opened = cache.Get(page);
  return std::make_unique<PairTable>(page, [&opened](const char* pair, std::uint16_t& unit) {
    return ConvertWithDecoder(opened, pair, kPairLength, unit);
  });
}

// Its lock is taken before the cache's, never after it.
PairTables& Pairs() {
  static PairTables tables(BuildPairTable);
  return tables;
}

}  // namespace

bool ConvertToOneUnit(std::uint32_t page, const char* bytes, int length, std::uint16_t& out) {
  if (!bytes || length <= 0)
    return false;
  page = ResolvePseudoPage(page);
  if (length == kPairLength)
    return Pairs().Convert(page, bytes, out);
  DecoderCache& cache = Cache();
  std::lock_guard<std::mutex> hold(cache.lock());
  return ConvertWithDecoder(cache.Get(page), bytes, length, out);
}

namespace testing {

int CodePageInfoQueries() {
  return g_infoQueries.load(std::memory_order_relaxed);
}

int CodePageConverterOpens() {
  return g_converterOpens.load(std::memory_order_relaxed);
}

void CloseCodePageConverters() {
  DecoderCache& cache = Cache();
  Pairs().Clear();
  std::lock_guard<std::mutex> hold(cache.lock());
  cache.Clear();
}

}  // namespace testing
}  // namespace base::platform
