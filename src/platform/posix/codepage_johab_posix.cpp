// Johab as the Windows page 1361 has it, over glibc's Johab. Two things
// differ from glibc:
//  - A syllable code with a single letter and fill codes in its other two
//    places is that letter written alone. Windows gives the conjoining jamo
//    (U+1100 initials, U+1161 vowels, U+11A8 finals); glibc gives a
//    compatibility jamo (U+3131...) or nothing.
//  - Row 0xD8, which Johab leaves to the user, has no characters in glibc.
//    Windows makes 0xD8 a lead byte and gives the row's 188 cells private-use
//    characters from U+E000, in byte order, over the trail bytes of the symbol
//    rows around it.
//  - The hangul filler and the old letters at the end of row 0xDA are
//    conjoining jamo on Windows, compatibility jamo (U+3164-U+318E) in glibc.
#include <cstddef>
#include <iterator>
#include <utility>

#include "platform/posix/codepage_decoder_posix.h"

namespace base::platform {
namespace {

constexpr unsigned char kUserRow = 0xD8;
constexpr unsigned char kFirstLowTrail = 0x31;
constexpr unsigned char kLastLowTrail = 0x7E;
constexpr unsigned char kFirstHighTrail = 0x91;
constexpr unsigned char kLastHighTrail = 0xFE;
constexpr int kLowTrails = kLastLowTrail - kFirstLowTrail + 1;

// Row 0xDA from 0xD4 on, as Windows gives it. No rule derives these from the
// compatibility jamo: Unicode's compatibility decompositions differ in four
// (the filler among them), so the 43 characters are listed.
constexpr unsigned char kOldLetterRow = 0xDA;
constexpr unsigned char kFirstOldLetterTrail = 0xD4;
// clang-format off
constexpr std::uint16_t kOldLetters[] = {
    0x115F, 0x1114, 0x1115, 0x11C7, 0x11C8, 0x11CC, 0x11CE, 0x11D3,
    0x11D7, 0x11D9, 0x111C, 0x11DD, 0x11DF, 0x111D, 0x111E, 0x1120,
    0x1122, 0x1123, 0x1127, 0x1128, 0x112B, 0x112C, 0x112D, 0x112E,
    0x112F, 0x1132, 0x1136, 0x1140, 0x1147, 0x114C, 0x1145, 0x1146,
    0x1157, 0x1158, 0x1159, 0x1184, 0x1185, 0x1188, 0x1191, 0x1192,
    0x1194, 0x119E, 0x11A1,
};
// clang-format on

// A syllable code is 1, then five bits each for the initial, the vowel and
// the final. Code 1 fills an empty initial or final, code 2 an empty vowel.
constexpr unsigned char kFirstSyllableLead = 0x84;
constexpr unsigned char kLastSyllableLead = 0xD3;
constexpr int kInitialFill = 1;
constexpr int kVowelFill = 2;
constexpr int kFinalFill = 1;
constexpr std::uint16_t kFirstInitialJamo = 0x1100;
constexpr std::uint16_t kFirstVowelJamo = 0x1161;
constexpr std::uint16_t kFirstFinalJamo = 0x11A8;

// The letter's place in its Unicode block, or -1 for a code no letter has.
// Johab skips codes 8-9, 16-17, 24-25 among the vowels and 18 among the
// finals.
int InitialIndex(int code) {
  return code >= 2 && code <= 20 ? code - 2 : -1;
}

int VowelIndex(int code) {
  if (code >= 3 && code <= 7)
    return code - 3;
  if (code >= 10 && code <= 15)
    return code - 5;
  if (code >= 18 && code <= 23)
    return code - 7;
  if (code >= 26 && code <= 29)
    return code - 9;
  return -1;
}

int FinalIndex(int code) {
  if (code >= 2 && code <= 17)
    return code - 2;
  if (code >= 19 && code <= 29)
    return code - 3;
  return -1;
}

// The conjoining jamo of a syllable code that holds one letter alone.
bool LetterAlone(unsigned char lead, unsigned char trail, std::uint16_t& out) {
  if (lead < kFirstSyllableLead || lead > kLastSyllableLead)
    return false;
  const int code = lead << 8 | trail;
  const int initialCode = code >> 10 & 0x1F;
  const int vowelCode = code >> 5 & 0x1F;
  const int finalCode = code & 0x1F;
  int index = -1;
  std::uint16_t first = 0;
  if (vowelCode == kVowelFill && finalCode == kFinalFill) {
    index = InitialIndex(initialCode);
    first = kFirstInitialJamo;
  } else if (initialCode == kInitialFill && finalCode == kFinalFill) {
    index = VowelIndex(vowelCode);
    first = kFirstVowelJamo;
  } else if (initialCode == kInitialFill && vowelCode == kVowelFill) {
    index = FinalIndex(finalCode);
    first = kFirstFinalJamo;
  }
  if (index < 0)
    return false;
  out = static_cast<std::uint16_t>(first + index);
  return true;
}

class JohabDecoder final : public CodePageDecoder {
 public:
  explicit JohabDecoder(std::unique_ptr<CodePageDecoder> johab) : johab_(std::move(johab)) {}

  std::uint32_t MaxCharSize() override { return johab_->MaxCharSize(); }

  void FindLeadBytes(bool (&leads)[kByteValues]) override {
    johab_->FindLeadBytes(leads);
    leads[kUserRow] = true;
  }

  bool ToOneUnit(const char* bytes, int length, std::uint16_t& out) override {
    if (length == 2) {
      const auto lead = static_cast<unsigned char>(bytes[0]);
      const auto trail = static_cast<unsigned char>(bytes[1]);
      if (lead == kUserRow)
        return UserCell(trail, out);
      if (lead == kOldLetterRow && OldLetter(trail, out))
        return true;
      if (LetterAlone(lead, trail, out))
        return true;
    }
    return johab_->ToOneUnit(bytes, length, out);
  }

 private:
  static bool UserCell(unsigned char trail, std::uint16_t& out) {
    int index;
    if (trail >= kFirstLowTrail && trail <= kLastLowTrail)
      index = trail - kFirstLowTrail;
    else if (trail >= kFirstHighTrail && trail <= kLastHighTrail)
      index = kLowTrails + (trail - kFirstHighTrail);
    else
      return false;
    out = static_cast<std::uint16_t>(kFirstPrivateUse + index);
    return true;
  }

  // 0xDAFF lies past the list, and glibc has nothing there either.
  static bool OldLetter(unsigned char trail, std::uint16_t& out) {
    const std::size_t index = static_cast<std::size_t>(trail - kFirstOldLetterTrail);
    if (trail < kFirstOldLetterTrail || index >= std::size(kOldLetters))
      return false;
    out = kOldLetters[index];
    return true;
  }

  std::unique_ptr<CodePageDecoder> johab_;
};

}  // namespace

std::unique_ptr<CodePageDecoder> OpenWindowsJohabDecoder(std::unique_ptr<CodePageDecoder> johab) {
  if (!johab)
    return nullptr;
  return std::make_unique<JohabDecoder>(std::move(johab));
}

}  // namespace base::platform
