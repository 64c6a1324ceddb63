// The protection services are the system's: modules are loaded by name with
// LoadLibraryA at each call and released with FreeLibrary, and functions are
// found with GetProcAddress. The test controls apply on top.
#include "platform/protection_services.h"

#include <windows.h>

#include "platform/protection_service_controls.h"

namespace base::platform {

ServiceModule* LoadServiceModule(const char* name) {
  if (name == nullptr || controls::IsModuleRemoved(name))
    return nullptr;
  const HMODULE module = LoadLibraryA(name);
  if (module == nullptr)
    return nullptr;
  controls::CountLoad();
  return reinterpret_cast<ServiceModule*>(module);
}

ServiceFunction FindServiceFunction(ServiceModule* module, const char* name) {
  if (module == nullptr || name == nullptr)
    return nullptr;
  const FARPROC found = GetProcAddress(reinterpret_cast<HMODULE>(module), name);
  return controls::Controlled(name, reinterpret_cast<ServiceFunction>(found));
}

void ReleaseServiceModule(ServiceModule* module) {
  if (module == nullptr)
    return;
  FreeLibrary(reinterpret_cast<HMODULE>(module));
  controls::CountRelease();
}

void SecureWipe(void* bytes, std::size_t size) {
  SecureZeroMemory(bytes, size);
}

}  // namespace base::platform
