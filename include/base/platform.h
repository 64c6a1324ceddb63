// The small part of the Windows vocabulary that host code shares with the
// library: handles and events that a task may wait on, the millisecond tick,
// interlocked counters, and the local heap that owns protected data.
//
// On Windows this header is <windows.h>. Elsewhere it declares the library's
// own counterparts under the Windows names, so that host code written against
// these names compiles unchanged on both systems.
//
// Threading: every function here may be called from any thread.
#ifndef BASE_PLATFORM_H_
#define BASE_PLATFORM_H_

#if defined(_WIN32)
// The host's own <windows.h>, with whatever WIN32_LEAN_AND_MEAN or NOMINMAX it
// chose. The library's headers call no macro-shadowed name such as min or max.
#include <windows.h>
// DATA_BLOB, even when the host leans <windows.h> down; it needs <windows.h>
// first.
#include <wincrypt.h>
#else

#include <cstddef>
#include <cstdint>

#include "base/export.h"

typedef void* HANDLE;
typedef void* HLOCAL;
typedef int BOOL;
typedef std::uint8_t BYTE;
typedef std::uint32_t DWORD;
typedef std::int32_t LONG;
typedef unsigned int UINT;
typedef std::size_t SIZE_T;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

// Neither 0 nor INVALID_HANDLE_VALUE is ever a valid object.
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1)))

#define INFINITE 0xFFFFFFFFu
#define WAIT_OBJECT_0 0x00000000u
#define WAIT_TIMEOUT 0x00000102u
#define WAIT_FAILED 0xFFFFFFFFu

#define LMEM_FIXED 0x0000u
#define LMEM_ZEROINIT 0x0040u
#define LPTR (LMEM_FIXED | LMEM_ZEROINIT)

// A counted run of bytes, as the data-protection functions take and return it.
typedef struct _CRYPTOAPI_BLOB {
  DWORD cbData;
  BYTE* pbData;
} DATA_BLOB;

extern "C" {

// Events. `name` must be null: named events are not supported and fail with 0.
// `attributes` is ignored. Returns 0 on failure.
BASE_EXPORT HANDLE CreateEventW(void* attributes,
                                BOOL manualReset,
                                BOOL initialState,
                                const wchar_t* name);
BASE_EXPORT BOOL SetEvent(HANDLE event);
BASE_EXPORT BOOL ResetEvent(HANDLE event);
BASE_EXPORT BOOL CloseHandle(HANDLE object);

// Waits until `object` is signalled or `milliseconds` have passed (INFINITE is
// no limit). Returns WAIT_OBJECT_0, WAIT_TIMEOUT or WAIT_FAILED.
BASE_EXPORT DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds);

// Milliseconds since an arbitrary start, wrapping every 2^32 ms. Compare two
// ticks only through their 32-bit difference.
BASE_EXPORT DWORD GetTickCount(void);

// The local heap. Blocks returned by the library's data-protection functions
// belong to the caller, who frees them with LocalFree. LocalFree returns 0 on
// success and accepts 0.
BASE_EXPORT HLOCAL LocalAlloc(UINT flags, SIZE_T bytes);
BASE_EXPORT HLOCAL LocalFree(HLOCAL memory);

}  // extern "C"

// Full-barrier counters; each returns the new value.
inline LONG InterlockedIncrement(volatile LONG* value) {
  return __atomic_add_fetch(value, 1, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedDecrement(volatile LONG* value) {
  return __atomic_sub_fetch(value, 1, __ATOMIC_SEQ_CST);
}

#endif  // _WIN32

#endif  // BASE_PLATFORM_H_
