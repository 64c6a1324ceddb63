#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>

#include "base/encoding.h"
#include "encoding/code_page_tables.h"

namespace XmlText {
namespace Encoding {
namespace {

// The Windows value of the thread's ANSI page: what a caller passes on to get
// the thread's default page when a name is not known.
constexpr int kThreadAnsiPage = 3;
// A name whose length is found by searching for the terminator is cut here.
constexpr std::size_t kMaxSearchedLength = 32;

std::size_t BoundedLength(const wchar_t* name) {
  std::size_t length = 0;
  while (length < kMaxSearchedLength && name[length] != L'\0')
    ++length;
  return length;
}

// Folds one 16-bit unit with the runtime's toupper, which honours the host's
// locale for 0 to 255. The trap: glibc's toupper indexes a table and is
// undefined above 255, so larger units are passed through unchanged, as the
// Windows runtime does for them.
char16_t FoldUnit(wchar_t character) {
  const auto unit = static_cast<std::uint32_t>(character) & 0xFFFFu;
  const auto folded =
      unit <= 0xFFu ? static_cast<std::uint32_t>(std::toupper(static_cast<int>(unit))) : unit;
  return static_cast<char16_t>(folded & 0xFFFFu);
}

}  // namespace

int GetCPNamed(wchar_t* name, int length) {
  if (!name || length == 0)
    return kThreadAnsiPage;
  const std::size_t count = length < 0 ? BoundedLength(name) : static_cast<std::size_t>(length);
  std::u16string folded(count, u'\0');
  for (std::size_t i = 0; i < count; ++i)
    folded[i] = FoldUnit(name[i]);
  const auto& names = base::CodePageTables.names;
  const auto found = names.find(folded);
  return found == names.end() ? kThreadAnsiPage : found->second;
}

}  // namespace Encoding
}  // namespace XmlText
