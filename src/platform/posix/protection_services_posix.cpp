// Design note. The posix backend has no system libraries to load, so its two
// service modules are built in: a fixed table of modules and their functions.
// Loading one only counts it, which lets tests see that every load was
// released. The test controls (protection_service_controls.h) apply as they
// do on Windows.
#include "platform/protection_services.h"

#include <openssl/crypto.h>
#include <strings.h>

#include <cstring>

#include "platform/posix/service_functions_posix.h"
#include "platform/protection_service_controls.h"

// Defined here, opaque to callers: a module is its entry in the table.
struct base::platform::ServiceModule {
  const char* name;
};

namespace base::platform {
namespace {

// Keeps `Fn` out of deduction, so that Erase must be told the type.
template <typename T>
struct Exactly {
  using Type = T;
};

// A service function as the table holds it. `Fn` is the type the library
// casts the entry back to, named at the call: a function here whose
// signature drifts from it fails to compile instead of being called with the
// wrong arguments.
template <typename Fn>
ServiceFunction Erase(typename Exactly<Fn>::Type function) {
  return reinterpret_cast<ServiceFunction>(function);
}

ServiceModule g_modules[] = {{kCrypt32Module}, {kAdvapi32Module}};
constexpr int kCrypt32 = 0;
constexpr int kAdvapi32 = 1;

struct FunctionEntry {
  int module;
  const char* name;
  ServiceFunction function;
};

const FunctionEntry kFunctions[] = {
    {kCrypt32, "CryptProtectData", Erase<CryptProtectDataFn>(&posix::CryptProtectData)},
    {kCrypt32, "CryptUnprotectData", Erase<CryptUnprotectDataFn>(&posix::CryptUnprotectData)},
    {kCrypt32, "CryptProtectMemory", Erase<CryptProtectMemoryFn>(&posix::CryptProtectMemory)},
    {kCrypt32, "CryptUnprotectMemory", Erase<CryptProtectMemoryFn>(&posix::CryptUnprotectMemory)},
    {kAdvapi32, "SystemFunction040", Erase<SystemMemoryFn>(&posix::SystemFunction040)},
    {kAdvapi32, "SystemFunction041", Erase<SystemMemoryFn>(&posix::SystemFunction041)},
};

// As the system's loader does, a name without an extension means a ".dll".
bool NamesModule(const char* name, const char* module) {
  if (strcasecmp(name, module) == 0)
    return true;
  const std::size_t length = std::strlen(name);
  return std::strchr(name, '.') == nullptr && strncasecmp(name, module, length) == 0 &&
         strcasecmp(module + length, ".dll") == 0;
}

}  // namespace

ServiceModule* LoadServiceModule(const char* name) {
  if (name == nullptr)
    return nullptr;
  for (ServiceModule& module : g_modules) {
    if (!NamesModule(name, module.name) || controls::IsModuleRemoved(module.name))
      continue;
    controls::CountLoad();
    return &module;
  }
  return nullptr;
}

ServiceFunction FindServiceFunction(ServiceModule* module, const char* name) {
  if (module == nullptr || name == nullptr)
    return nullptr;
  const auto moduleIndex = module - g_modules;
  for (const FunctionEntry& entry : kFunctions) {
    if (entry.module == moduleIndex && std::strcmp(entry.name, name) == 0)
      return controls::Controlled(name, entry.function);
  }
  return nullptr;
}

void ReleaseServiceModule(ServiceModule* module) {
  if (module != nullptr)
    controls::CountRelease();
}

void SecureWipe(void* bytes, std::size_t size) {
  OPENSSL_cleanse(bytes, size);
}

}  // namespace base::platform
