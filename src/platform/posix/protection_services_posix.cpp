// Design note. The posix backend has no system libraries to load, so its two
// service modules are built in: a fixed table of modules and their functions.
// Loading one only counts it, which lets tests see that every load was
// released. Test controls can take a module or a function away, or put a
// failing stand-in in a function's place; production code never sets them.
#include "platform/protection_services.h"

#include <openssl/crypto.h>
#include <strings.h>

#include <atomic>
#include <cstring>
#include <iterator>

#include "platform/posix/service_functions_posix.h"
#include "platform/testing/protection_services_testing.h"

// Defined here, opaque to callers: a module is its entry in the table.
struct base::platform::ServiceModule {
  const char* name;
};

namespace base::platform {
namespace {

// The failing stand-ins of the test controls: they touch nothing.
BOOL FailProtectData(DATA_BLOB*, const wchar_t*, DATA_BLOB*, void*, void*, DWORD, DATA_BLOB*) {
  return FALSE;
}
BOOL FailUnprotectData(DATA_BLOB*, wchar_t**, DATA_BLOB*, void*, void*, DWORD, DATA_BLOB*) {
  return FALSE;
}
BOOL FailCryptMemory(void*, DWORD, DWORD) {
  return FALSE;
}
LONG FailSystemMemory(void*, DWORD, DWORD) {
  return posix::kStatusUnsuccessful;
}

template <typename Fn>
ServiceFunction Erase(Fn function) {
  return reinterpret_cast<ServiceFunction>(function);
}

ServiceModule kModules[] = {{kCrypt32Module}, {kAdvapi32Module}};
constexpr int kCrypt32 = 0;
constexpr int kAdvapi32 = 1;

struct FunctionEntry {
  int module;
  const char* name;
  ServiceFunction working;
  ServiceFunction failing;
};

const FunctionEntry kFunctions[] = {
    {kCrypt32, "CryptProtectData", Erase(&posix::CryptProtectData), Erase(&FailProtectData)},
    {kCrypt32, "CryptUnprotectData", Erase(&posix::CryptUnprotectData), Erase(&FailUnprotectData)},
    {kCrypt32, "CryptProtectMemory", Erase(&posix::CryptProtectMemory), Erase(&FailCryptMemory)},
    {kCrypt32, "CryptUnprotectMemory", Erase(&posix::CryptUnprotectMemory),
     Erase(&FailCryptMemory)},
    {kAdvapi32, "SystemFunction040", Erase(&posix::SystemFunction040), Erase(&FailSystemMemory)},
    {kAdvapi32, "SystemFunction041", Erase(&posix::SystemFunction041), Erase(&FailSystemMemory)},
};

// Test controls, one bit per module or function index.
std::atomic<unsigned> g_removed_modules{0};
std::atomic<unsigned> g_removed_functions{0};
std::atomic<unsigned> g_failed_functions{0};

std::atomic<int> g_open_modules{0};
std::atomic<int> g_module_loads{0};

bool IsSet(const std::atomic<unsigned>& bits, std::size_t index) {
  return (bits.load(std::memory_order_relaxed) >> index & 1u) != 0;
}

}  // namespace

ServiceModule* LoadServiceModule(const char* name) {
  if (name == nullptr)
    return nullptr;
  for (std::size_t i = 0; i < std::size(kModules); ++i) {
    if (strcasecmp(name, kModules[i].name) != 0 || IsSet(g_removed_modules, i))
      continue;
    g_open_modules.fetch_add(1, std::memory_order_relaxed);
    g_module_loads.fetch_add(1, std::memory_order_relaxed);
    return &kModules[i];
  }
  return nullptr;
}

ServiceFunction FindServiceFunction(ServiceModule* module, const char* name) {
  if (module == nullptr || name == nullptr)
    return nullptr;
  const auto module_index = module - kModules;
  for (std::size_t i = 0; i < std::size(kFunctions); ++i) {
    const FunctionEntry& entry = kFunctions[i];
    if (entry.module != module_index || std::strcmp(entry.name, name) != 0 ||
        IsSet(g_removed_functions, i))
      continue;
    return IsSet(g_failed_functions, i) ? entry.failing : entry.working;
  }
  return nullptr;
}

void ReleaseServiceModule(ServiceModule* module) {
  if (module != nullptr)
    g_open_modules.fetch_sub(1, std::memory_order_relaxed);
}

void SecureWipe(void* bytes, std::size_t size) {
  OPENSSL_cleanse(bytes, size);
}

namespace testing {
namespace {

template <typename Entries>
void SetBitOfName(std::atomic<unsigned>& bits, const Entries& entries, const char* name) {
  for (std::size_t i = 0; i < std::size(entries); ++i) {
    if (std::strcmp(entries[i].name, name) == 0)
      bits.fetch_or(1u << i, std::memory_order_relaxed);
  }
}

}  // namespace

void RemoveServiceModule(const char* module) {
  SetBitOfName(g_removed_modules, kModules, module);
}

void RemoveServiceFunction(const char* function) {
  SetBitOfName(g_removed_functions, kFunctions, function);
}

void FailServiceFunction(const char* function) {
  SetBitOfName(g_failed_functions, kFunctions, function);
}

void ResetProtectionServices() {
  g_removed_modules.store(0, std::memory_order_relaxed);
  g_removed_functions.store(0, std::memory_order_relaxed);
  g_failed_functions.store(0, std::memory_order_relaxed);
}

int OpenServiceModules() {
  return g_open_modules.load(std::memory_order_relaxed);
}

int ServiceModuleLoads() {
  return g_module_loads.load(std::memory_order_relaxed);
}

}  // namespace testing
}  // namespace base::platform
