// Whether the tests run under Wine, whose own ntdll exports wine_get_version.
// Only for the few checks that Wine is known to get wrong: each one that is
// skipped names the defect where it is skipped.
#ifndef BASE_TESTS_SUPPORT_UNDER_WINE_H_
#define BASE_TESTS_SUPPORT_UNDER_WINE_H_

#if defined(_WIN32)
#include <windows.h>
#endif

namespace base::testing {

inline bool UnderWine() {
#if defined(_WIN32)
  const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  return ntdll != nullptr && GetProcAddress(ntdll, "wine_get_version") != nullptr;
#else
  return false;
#endif
}

}  // namespace base::testing

#endif  // BASE_TESTS_SUPPORT_UNDER_WINE_H_
