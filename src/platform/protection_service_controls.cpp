#include "platform/protection_service_controls.h"

#include <atomic>
#include <cstring>
#include <iterator>

#include "platform/testing/protection_services_testing.h"

namespace base::platform::controls {
namespace {

// What a failing SystemFunction040/041 gives (an NTSTATUS error).
constexpr LONG kStatusUnsuccessful = static_cast<LONG>(0xC0000001u);

BOOL BASE_SERVICE_CALL
FailProtectData(DATA_BLOB*, const wchar_t*, DATA_BLOB*, void*, void*, DWORD, DATA_BLOB*) {
  return FALSE;
}
BOOL BASE_SERVICE_CALL
FailUnprotectData(DATA_BLOB*, wchar_t**, DATA_BLOB*, void*, void*, DWORD, DATA_BLOB*) {
  return FALSE;
}
BOOL BASE_SERVICE_CALL FailCryptMemory(void*, DWORD, DWORD) {
  return FALSE;
}
LONG BASE_SERVICE_CALL FailSystemMemory(void*, DWORD, DWORD) {
  return kStatusUnsuccessful;
}

template <typename Fn>
ServiceFunction Erase(Fn function) {
  return reinterpret_cast<ServiceFunction>(function);
}

struct Named {
  const char* name;
};
const Named kModules[] = {{kCrypt32Module}, {kAdvapi32Module}};

struct Function {
  const char* name;
  ServiceFunction failing;
};
const Function kFunctions[] = {
    {"CryptProtectData", Erase(&FailProtectData)},
    {"CryptUnprotectData", Erase(&FailUnprotectData)},
    {"CryptProtectMemory", Erase(&FailCryptMemory)},
    {"CryptUnprotectMemory", Erase(&FailCryptMemory)},
    {"SystemFunction040", Erase(&FailSystemMemory)},
    {"SystemFunction041", Erase(&FailSystemMemory)},
};

// One bit per entry of kModules or kFunctions.
std::atomic<unsigned> g_removedModules{0};
std::atomic<unsigned> g_removedFunctions{0};
std::atomic<unsigned> g_failedFunctions{0};

std::atomic<int> g_openModules{0};
std::atomic<int> g_moduleLoads{0};

bool IsSet(const std::atomic<unsigned>& bits, std::size_t index) {
  return (bits.load(std::memory_order_relaxed) >> index & 1u) != 0;
}

bool SameIgnoringCase(const char* a, const char* b) {
  auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  for (; *a && *b; ++a, ++b) {
    if (fold(*a) != fold(*b))
      return false;
  }
  return *a == *b;
}

template <typename Entries>
void SetBitOfName(std::atomic<unsigned>& bits, const Entries& entries, const char* name) {
  for (std::size_t i = 0; i < std::size(entries); ++i) {
    if (std::strcmp(entries[i].name, name) == 0)
      bits.fetch_or(1u << i, std::memory_order_relaxed);
  }
}

}  // namespace

bool IsModuleRemoved(const char* module) {
  for (std::size_t i = 0; i < std::size(kModules); ++i) {
    if (SameIgnoringCase(module, kModules[i].name))
      return IsSet(g_removedModules, i);
  }
  return false;
}

ServiceFunction Controlled(const char* name, ServiceFunction found) {
  for (std::size_t i = 0; i < std::size(kFunctions); ++i) {
    if (std::strcmp(name, kFunctions[i].name) != 0)
      continue;
    if (IsSet(g_removedFunctions, i))
      return nullptr;
    return IsSet(g_failedFunctions, i) && found ? kFunctions[i].failing : found;
  }
  return found;
}

void CountLoad() {
  g_openModules.fetch_add(1, std::memory_order_relaxed);
  g_moduleLoads.fetch_add(1, std::memory_order_relaxed);
}

void CountRelease() {
  g_openModules.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace base::platform::controls

namespace base::platform::testing {

void RemoveServiceModule(const char* module) {
  controls::SetBitOfName(controls::g_removedModules, controls::kModules, module);
}

void RemoveServiceFunction(const char* function) {
  controls::SetBitOfName(controls::g_removedFunctions, controls::kFunctions, function);
}

void FailServiceFunction(const char* function) {
  controls::SetBitOfName(controls::g_failedFunctions, controls::kFunctions, function);
}

void ResetProtectionServices() {
  controls::g_removedModules.store(0, std::memory_order_relaxed);
  controls::g_removedFunctions.store(0, std::memory_order_relaxed);
  controls::g_failedFunctions.store(0, std::memory_order_relaxed);
}

int OpenServiceModules() {
  return controls::g_openModules.load(std::memory_order_relaxed);
}

int ServiceModuleLoads() {
  return controls::g_moduleLoads.load(std::memory_order_relaxed);
}

}  // namespace base::platform::testing
