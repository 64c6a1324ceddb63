#include "base/protect.h"

#include "protect/data_services.h"
#include "protect/service_module.h"
#include "protect/version_gate.h"

int CryptDataWinProtect(const BYTE* data,
                        DWORD length,
                        const wchar_t* description,
                        DATA_BLOB* output) {
  if (!base::SystemOffersProtection())
    return 0;
  const base::ScopedServiceModule crypt32(base::platform::kCrypt32Module);
  const auto protect = crypt32.Find<base::platform::CryptProtectDataFn>("CryptProtectData");
  return protect != nullptr && base::ProtectWithService(protect, data, length, description, output)
             ? 1
             : 0;
}

int DecryptDataWinProtect(const BYTE* data,
                          DWORD length,
                          wchar_t** description,
                          DATA_BLOB* output) {
  if (!base::SystemOffersProtection())
    return 0;
  const base::ScopedServiceModule crypt32(base::platform::kCrypt32Module);
  const auto unprotect = crypt32.Find<base::platform::CryptUnprotectDataFn>("CryptUnprotectData");
  return unprotect != nullptr &&
                 base::UnprotectWithService(unprotect, data, length, description, output)
             ? 1
             : 0;
}
