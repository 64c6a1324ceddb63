// The one look at the system's version that the protection functions take:
// the services exist from major version 5 on. Which of them a system of that
// version offers is learned by looking for them, never from the version.
#ifndef BASE_PROTECT_VERSION_GATE_H_
#define BASE_PROTECT_VERSION_GATE_H_

namespace base {

// False if the version query fails or the major version is below 5.
bool SystemOffersProtection();

}  // namespace base

#endif  // BASE_PROTECT_VERSION_GATE_H_
