// Keys of the posix protection services. They are derived at each use from
// the machine's identity and never stored: a key lives on the stack of the
// call that needs it and is wiped when the call ends.
//
//   machine key = HKDF-SHA256(machine id, application salt, purpose)
//   boot key    = HKDF-SHA256(machine id || boot id, application salt, purpose)
//
// The identity files are world-readable, so every process of the machine can
// derive the same keys; that is the scope the services promise, no narrower.
#ifndef BASE_PLATFORM_POSIX_MACHINE_KEYS_POSIX_H_
#define BASE_PLATFORM_POSIX_MACHINE_KEYS_POSIX_H_

#include <cstddef>

#include "platform/protection_services.h"

namespace base::platform::posix {

// Key bytes that are wiped when they go out of scope.
template <std::size_t N>
class SecretBytes {
 public:
  SecretBytes() = default;
  SecretBytes(const SecretBytes&) = delete;
  SecretBytes& operator=(const SecretBytes&) = delete;
  ~SecretBytes() { SecureWipe(bytes_, N); }

  unsigned char* data() { return bytes_; }
  constexpr std::size_t size() const { return N; }

 private:
  unsigned char bytes_[N] = {};
};

// Fills `key` with `size` bytes bound to this machine and to `purpose`.
// False if the machine identity is missing, unreadable or malformed.
bool DeriveMachineKey(const char* purpose, unsigned char* key, std::size_t size);

// The same, bound to the current boot as well.
bool DeriveBootKey(const char* purpose, unsigned char* key, std::size_t size);

}  // namespace base::platform::posix

#endif  // BASE_PLATFORM_POSIX_MACHINE_KEYS_POSIX_H_
