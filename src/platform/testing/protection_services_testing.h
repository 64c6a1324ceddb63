// Test control: shapes the service modules that LoadServiceModule finds and
// the machine identity their keys come from, so that every choice between the
// services, and a blob moved to another machine, can be reached in a test.
// Not exported. Set these from one thread while no protection call runs.
#ifndef BASE_PLATFORM_TESTING_PROTECTION_SERVICES_TESTING_H_
#define BASE_PLATFORM_TESTING_PROTECTION_SERVICES_TESTING_H_

#include <string>

namespace base::platform::testing {

// LoadServiceModule(`module`) fails until reset.
void RemoveServiceModule(const char* module);
// FindServiceFunction finds no function of this name until reset.
void RemoveServiceFunction(const char* function);
// The function is found, but every call of it fails without touching its
// arguments, until reset.
void FailServiceFunction(const char* function);
// All modules and functions present and working again; counters kept.
void ResetProtectionServices();

// Modules loaded and not yet released, now.
int OpenServiceModules();
// Successful loads since the process started.
int ServiceModuleLoads();

// Keys come from these files instead of /etc/machine-id and
// /proc/sys/kernel/random/boot_id until reset. A file that is missing,
// unreadable or malformed makes the services fail.
void SetMachineIdentityFiles(const std::string& machineIdPath, const std::string& bootIdPath);
void ResetMachineIdentity();

}  // namespace base::platform::testing

#endif  // BASE_PLATFORM_TESTING_PROTECTION_SERVICES_TESTING_H_
