// Legacy code pages for text and XML readers: which Windows code page an
// encoding name stands for, what each first byte means in a page, which
// character a two-byte sequence is, and which character a page uses for what
// it cannot convert.
//
// Threading: none of these functions takes a lock. Callers serialise all calls
// into this namespace (one thread at a time). A map returned by GetCPMap never
// changes afterwards and may be read from any thread.
#ifndef BASE_ENCODING_H_
#define BASE_ENCODING_H_

#include "base/export.h"

namespace XmlText {
namespace Encoding {

// Values of a byte map entry besides a UTF-16 code unit (0 to 65535).
constexpr int kInvalidByte = -1;  // not valid on its own in the page
constexpr int kLeadByte = -2;     // first byte of a two-byte sequence

// The code page that `name` stands for, or 3 (the thread's ANSI page) when the
// name is unknown, null or `length` is 0. The name is folded to upper case.
// A negative `length` means "up to the terminator, at most 32 characters"; a
// positive one is taken as it is, terminator included if it is counted.
BASE_EXPORT int GetCPNamed(wchar_t* name, int length);

// The 256-entry byte map of `codePage`, built once on first use, or null when
// the page is unknown or has characters longer than two bytes (UTF-8, for
// one). The map belongs to the library and stays valid until it is unloaded.
BASE_EXPORT const int* GetCPMap(int codePage);

// The character that exactly two bytes at `bytes` form in `codePage`, or the
// page's default character when they do not form exactly one. Both bytes must
// be readable; the byte map is not consulted.
BASE_EXPORT int CPConvert(int codePage, const char* bytes);

// The default character of `codePage`, or -1 when the page has no map.
BASE_EXPORT int GetCPDefChar(int codePage);

}  // namespace Encoding
}  // namespace XmlText

#endif  // BASE_ENCODING_H_
