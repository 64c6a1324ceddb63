// Small pieces of OpenSSL glue shared by the posix protection services.
#ifndef BASE_PLATFORM_POSIX_CIPHER_POSIX_H_
#define BASE_PLATFORM_POSIX_CIPHER_POSIX_H_

#include <openssl/evp.h>

#include <cstddef>

namespace base::platform::posix {

// OpenSSL reports failures on a per-thread error queue that belongs to the
// host as much as to us. Errors pushed while this object lives are removed
// when it dies; the host's own entries stay.
class ScopedOpensslErrors {
 public:
  ScopedOpensslErrors();
  ScopedOpensslErrors(const ScopedOpensslErrors&) = delete;
  ScopedOpensslErrors& operator=(const ScopedOpensslErrors&) = delete;
  ~ScopedOpensslErrors();
};

// Owns a cipher context.
class CipherContext {
 public:
  CipherContext() : context_(EVP_CIPHER_CTX_new()) {}
  CipherContext(const CipherContext&) = delete;
  CipherContext& operator=(const CipherContext&) = delete;
  ~CipherContext() { EVP_CIPHER_CTX_free(context_); }

  EVP_CIPHER_CTX* get() const { return context_; }

 private:
  EVP_CIPHER_CTX* const context_;
};

// EVP_CipherUpdate over any length: OpenSSL counts in int, our blocks go up
// to 4 GiB. With `out` null, `in` is additional authenticated data. `out` may
// equal `in` (in place) but must not overlap it otherwise.
bool CipherUpdate(EVP_CIPHER_CTX* context,
                  unsigned char* out,
                  const unsigned char* in,
                  std::size_t size);

}  // namespace base::platform::posix

#endif  // BASE_PLATFORM_POSIX_CIPHER_POSIX_H_
