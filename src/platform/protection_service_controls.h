// The test controls of the protection services, shared by both backends: which
// module or function a test has taken away, which function must fail, and the
// counts of loads. Production code never sets them. Not exported.
#ifndef BASE_PLATFORM_PROTECTION_SERVICE_CONTROLS_H_
#define BASE_PLATFORM_PROTECTION_SERVICE_CONTROLS_H_

#include "platform/protection_services.h"

namespace base::platform::controls {

// Whether LoadServiceModule must not find `module` (compared without regard
// to case).
bool IsModuleRemoved(const char* module);

// What FindServiceFunction must give instead of `found`, the function the
// backend found under `name`: null if a test removed it, a stand-in that
// fails without touching its arguments if a test made it fail, else `found`.
ServiceFunction Controlled(const char* name, ServiceFunction found);

// Each load that succeeded, and each release of one.
void CountLoad();
void CountRelease();

}  // namespace base::platform::controls

#endif  // BASE_PLATFORM_PROTECTION_SERVICE_CONTROLS_H_
