#include "platform/posix/cipher_posix.h"

#include <openssl/err.h>

namespace base::platform::posix {

ScopedOpensslErrors::ScopedOpensslErrors() {
  ERR_set_mark();
}

ScopedOpensslErrors::~ScopedOpensslErrors() {
  ERR_pop_to_mark();
}

bool CipherUpdate(EVP_CIPHER_CTX* context,
                  unsigned char* out,
                  const unsigned char* in,
                  std::size_t size) {
  // A multiple of every block size, far below INT_MAX.
  constexpr std::size_t kChunk = std::size_t{1} << 30;
  while (size > 0) {
    const std::size_t part = size < kChunk ? size : kChunk;
    int written = 0;
    if (EVP_CipherUpdate(context, out, &written, in, static_cast<int>(part)) != 1)
      return false;
    // Unpadded block modes and GCM write exactly what they read.
    if (out != nullptr && static_cast<std::size_t>(written) != part)
      return false;
    in += part;
    if (out != nullptr)
      out += part;
    size -= part;
  }
  return true;
}

}  // namespace base::platform::posix
