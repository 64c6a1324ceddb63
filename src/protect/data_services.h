// Calls of the data services with the arguments this library always uses:
// no entropy, no reserved word, no prompt, the machine scope for sealing and
// no user interface for opening.
#ifndef BASE_PROTECT_DATA_SERVICES_H_
#define BASE_PROTECT_DATA_SERVICES_H_

#include "platform/protection_services.h"

namespace base {

bool ProtectWithService(platform::CryptProtectDataFn protect,
                        const BYTE* data,
                        DWORD length,
                        const wchar_t* description,
                        DATA_BLOB* output);

bool UnprotectWithService(platform::CryptUnprotectDataFn unprotect,
                          const BYTE* data,
                          DWORD length,
                          wchar_t** description,
                          DATA_BLOB* output);

}  // namespace base

#endif  // BASE_PROTECT_DATA_SERVICES_H_
