// The local heap on posix is the C heap. Only fixed blocks exist: a movable
// block has no meaning without handle locking, and nothing in the library
// asks for one.
#include <cstdlib>

#include "base/platform.h"

extern "C" HLOCAL LocalAlloc(UINT flags, SIZE_T bytes) {
  if ((flags & ~LPTR) != 0)
    return nullptr;
  // A zero-byte block is still a distinct block that LocalFree accepts.
  const SIZE_T size = bytes == 0 ? 1 : bytes;
  return (flags & LMEM_ZEROINIT) != 0 ? std::calloc(1, size) : std::malloc(size);
}

extern "C" HLOCAL LocalFree(HLOCAL memory) {
  std::free(memory);
  return nullptr;
}
