// A service module held for the length of one call. Modules are loaded by
// name at each call and released before it returns, whatever the path out:
// nothing of a service outlives the call that used it.
#ifndef BASE_PROTECT_SERVICE_MODULE_H_
#define BASE_PROTECT_SERVICE_MODULE_H_

#include "platform/protection_services.h"

namespace base {

class ScopedServiceModule {
 public:
  explicit ScopedServiceModule(const char* name) : module_(platform::LoadServiceModule(name)) {}
  ScopedServiceModule(const ScopedServiceModule&) = delete;
  ScopedServiceModule& operator=(const ScopedServiceModule&) = delete;
  ~ScopedServiceModule() { platform::ReleaseServiceModule(module_); }

  // The function `name` as type `Fn`, or null if the module or the function
  // is missing.
  template <typename Fn>
  Fn Find(const char* name) const {
    return reinterpret_cast<Fn>(platform::FindServiceFunction(module_, name));
  }

 private:
  platform::ServiceModule* const module_;
};

}  // namespace base

#endif  // BASE_PROTECT_SERVICE_MODULE_H_
