// The memory pair picks the first service the running system offers, in a
// fixed order: CryptProtectMemory, SystemFunction040, CryptProtectData. The
// choice is made by looking the function up, not by trying it: a service that
// is found and fails fails the call, because falling through would give a
// block that the other direction, which chooses the same way, cannot read.
#include <cstring>

#include "base/protect.h"
#include "protect/data_services.h"
#include "protect/memory_block.h"
#include "protect/service_module.h"
#include "protect/version_gate.h"

namespace {

namespace platform = base::platform;

constexpr wchar_t kLinkDescription[] = L"LinkCryptMem";

// Common entry of both functions: false leaves the results as they were;
// past it they read null and 0 until success.
bool EnterMemoryCall(const BYTE* data, DWORD length, BYTE** result, DWORD* resultLength) {
  if (!base::SystemOffersProtection() || result == nullptr || resultLength == nullptr)
    return false;
  *result = nullptr;
  *resultLength = 0;
  return data != nullptr || length == 0;
}

// Lays out the block for `unit` and enciphers it with `encipher`.
template <typename Encipher>
bool ProtectBlock(const BYTE* data,
                  DWORD length,
                  DWORD unit,
                  Encipher encipher,
                  BYTE** result,
                  DWORD* resultLength) {
  std::uint32_t size = 0;
  if (!base::MemoryBlockSize(length, unit, size))
    return false;
  auto* block = static_cast<BYTE*>(LocalAlloc(LPTR, size));
  if (block == nullptr)
    return false;
  base::WriteMemoryBlock(data, length, block);
  if (!encipher(block, size)) {
    // The block may still hold the caller's secret in clear.
    platform::SecureWipe(block, size);
    LocalFree(block);
    return false;
  }
  *result = block;
  *resultLength = size;
  return true;
}

// Deciphers the block in place with `decipher` and copies its data out.
template <typename Decipher>
bool UnprotectBlock(BYTE* block,
                    DWORD size,
                    DWORD unit,
                    Decipher decipher,
                    BYTE** result,
                    DWORD* resultLength) {
  const std::uint8_t* data = nullptr;
  std::uint32_t length = 0;
  if (size % unit != 0 || !decipher(block, size) ||
      !base::ReadMemoryBlock(block, size, data, length))
    return false;
  auto* copy = static_cast<BYTE*>(LocalAlloc(LPTR, length));
  if (copy == nullptr)
    return false;
  if (length != 0)
    std::memcpy(copy, data, length);
  *result = copy;
  *resultLength = length;
  return true;
}

bool GiveBlob(const DATA_BLOB& blob, BYTE** result, DWORD* resultLength) {
  *result = blob.pbData;
  *resultLength = blob.cbData;
  return true;
}

bool ProtectMemory(const BYTE* data, DWORD length, BYTE** result, DWORD* resultLength) {
  const base::ScopedServiceModule crypt32(platform::kCrypt32Module);
  if (const auto protect = crypt32.Find<platform::CryptProtectMemoryFn>("CryptProtectMemory")) {
    return ProtectBlock(
        data, length, platform::kMemoryBlockUnit,
        [protect](BYTE* block, DWORD size) {
          return protect(block, size, platform::kProtectMemoryCrossProcess) != FALSE;
        },
        result, resultLength);
  }
  const base::ScopedServiceModule advapi32(platform::kAdvapi32Module);
  if (const auto protect = advapi32.Find<platform::SystemMemoryFn>("SystemFunction040")) {
    return ProtectBlock(
        data, length, platform::kLegacyMemoryBlockUnit,
        [protect](BYTE* block, DWORD size) {
          return protect(block, size, platform::kSystemMemoryCrossProcess) == 0;
        },
        result, resultLength);
  }
  if (const auto protect = crypt32.Find<platform::CryptProtectDataFn>("CryptProtectData")) {
    DATA_BLOB blob{};
    return base::ProtectWithService(protect, data, length, kLinkDescription, &blob) &&
           GiveBlob(blob, result, resultLength);
  }
  return false;
}

bool UnprotectMemory(BYTE* data, DWORD length, BYTE** result, DWORD* resultLength) {
  const base::ScopedServiceModule crypt32(platform::kCrypt32Module);
  if (const auto unprotect = crypt32.Find<platform::CryptProtectMemoryFn>("CryptUnprotectMemory")) {
    return UnprotectBlock(
        data, length, platform::kMemoryBlockUnit,
        [unprotect](BYTE* block, DWORD size) {
          return unprotect(block, size, platform::kProtectMemoryCrossProcess) != FALSE;
        },
        result, resultLength);
  }
  const base::ScopedServiceModule advapi32(platform::kAdvapi32Module);
  if (const auto unprotect = advapi32.Find<platform::SystemMemoryFn>("SystemFunction041")) {
    return UnprotectBlock(
        data, length, platform::kLegacyMemoryBlockUnit,
        [unprotect](BYTE* block, DWORD size) {
          return unprotect(block, size, platform::kSystemMemoryCrossProcess) == 0;
        },
        result, resultLength);
  }
  if (const auto unprotect = crypt32.Find<platform::CryptUnprotectDataFn>("CryptUnprotectData")) {
    DATA_BLOB blob{};
    wchar_t* description = nullptr;
    if (!base::UnprotectWithService(unprotect, data, length, &description, &blob))
      return false;
    LocalFree(description);
    return GiveBlob(blob, result, resultLength);
  }
  return false;
}

}  // namespace

int CryptMemroyWinProtect(const BYTE* data, DWORD length, BYTE** result, DWORD* resultLength) {
  return EnterMemoryCall(data, length, result, resultLength) &&
                 ProtectMemory(data, length, result, resultLength)
             ? 1
             : 0;
}

int DecryptMemoryWinProtect(BYTE* data, DWORD length, BYTE** result, DWORD* resultLength) {
  return EnterMemoryCall(data, length, result, resultLength) &&
                 UnprotectMemory(data, length, result, resultLength)
             ? 1
             : 0;
}
