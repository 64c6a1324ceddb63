// The functions of the two built-in service modules of the posix backend,
// with the signatures and contracts of protection_services.h. Only the module
// registry reaches them; the library goes through FindServiceFunction.
#ifndef BASE_PLATFORM_POSIX_SERVICE_FUNCTIONS_POSIX_H_
#define BASE_PLATFORM_POSIX_SERVICE_FUNCTIONS_POSIX_H_

#include "base/platform.h"

namespace base::platform::posix {

// "Crypt32.dll"
BOOL CryptProtectData(DATA_BLOB* input,
                      const wchar_t* description,
                      DATA_BLOB* entropy,
                      void* reserved,
                      void* prompt,
                      DWORD flags,
                      DATA_BLOB* output);
BOOL CryptUnprotectData(DATA_BLOB* input,
                        wchar_t** description,
                        DATA_BLOB* entropy,
                        void* reserved,
                        void* prompt,
                        DWORD flags,
                        DATA_BLOB* output);
BOOL CryptProtectMemory(void* block, DWORD size, DWORD flags);
BOOL CryptUnprotectMemory(void* block, DWORD size, DWORD flags);

// "Advapi32.dll"
LONG SystemFunction040(void* block, DWORD size, DWORD options);
LONG SystemFunction041(void* block, DWORD size, DWORD options);

// What a failing SystemFunction040/041 gives (an NTSTATUS error).
inline constexpr LONG kStatusUnsuccessful = static_cast<LONG>(0xC0000001u);

}  // namespace base::platform::posix

#endif  // BASE_PLATFORM_POSIX_SERVICE_FUNCTIONS_POSIX_H_
