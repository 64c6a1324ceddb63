#include "protect/data_services.h"

namespace base {
namespace {

// The services take the input blob by a non-const pointer but only read it.
DATA_BLOB InputBlob(const BYTE* data, DWORD length) {
  return DATA_BLOB{length, const_cast<BYTE*>(data)};
}

}  // namespace

bool ProtectWithService(platform::CryptProtectDataFn protect,
                        const BYTE* data,
                        DWORD length,
                        const wchar_t* description,
                        DATA_BLOB* output) {
  DATA_BLOB input = InputBlob(data, length);
  return protect(&input, description, nullptr, nullptr, nullptr, platform::kProtectLocalMachine,
                 output) != FALSE;
}

bool UnprotectWithService(platform::CryptUnprotectDataFn unprotect,
                          const BYTE* data,
                          DWORD length,
                          wchar_t** description,
                          DATA_BLOB* output) {
  DATA_BLOB input = InputBlob(data, length);
  return unprotect(&input, description, nullptr, nullptr, nullptr, platform::kProtectUiForbidden,
                   output) != FALSE;
}

}  // namespace base
