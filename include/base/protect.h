// Protection of secrets at rest and in memory through the system's services,
// so that a module can keep a password or a token on disk or in memory in a
// protected form without binding to those services itself.
//
// The data pair seals bytes for this machine: the blob opens on the same
// machine only, for any user and process of it. The memory pair protects a
// block for the current boot, for any process of the machine; its result is
// a small block format of its own (see CryptMemroyWinProtect).
//
// Every function gives 1 on success and 0 on failure, and nothing else: no
// error value is kept. Every result buffer belongs to the caller, who frees
// it with LocalFree. No state is kept between calls, so all four may run on
// any number of threads at once; the caller keeps its buffers alive and
// unshared during a call.
#ifndef BASE_PROTECT_H_
#define BASE_PROTECT_H_

#include "base/export.h"
#include "base/platform.h"

// Seals `length` bytes at `data` (null only with length 0) into `output`,
// together with `description` (may be null), which is stored in clear. The
// blob can be opened on this machine only.
BASE_EXPORT int CryptDataWinProtect(const BYTE* data,
                                    DWORD length,
                                    const wchar_t* description,
                                    DATA_BLOB* output);

// Opens a blob of CryptDataWinProtect into `output`. If `description` is not
// null it receives the stored description (a null one comes back empty),
// which the caller also frees with LocalFree. A changed, cut or foreign blob
// gives 0.
BASE_EXPORT int DecryptDataWinProtect(const BYTE* data,
                                      DWORD length,
                                      wchar_t** description,
                                      DATA_BLOB* output);

// Protects `length` bytes at `data` (only read) for the current boot and
// gives the protected block in `*result` and `*resultLength`.
//
// With the system's memory services the block is, before it is enciphered as
// a whole: the data length (4 bytes, little-endian), the data, then zeros up
// to the next multiple of the service's unit (16 or 8 bytes), so data of 12
// bytes gives 16 or 16 bytes and data of 13 gives 32 or 24. Without them the
// block is a data blob described as "LinkCryptMem".
//
// On failure `*result` is null and `*resultLength` 0, provided both pointers
// were given; on a system older than these services nothing is touched.
BASE_EXPORT int CryptMemroyWinProtect(const BYTE* data,
                                      DWORD length,
                                      BYTE** result,
                                      DWORD* resultLength);

// Restores the data of a CryptMemroyWinProtect block into a new buffer.
//
// Trap: the block is deciphered in place, so afterwards `data` holds the plain
// header and data, also when the call fails on a bad header; keep a copy to
// decipher it twice, and wipe `data` if it must not stay in clear. The block
// is taken to come from the service the system offers now; a block of another
// service or another boot deciphers to noise and fails only if its length
// checks catch it.
//
// A block of the memory services is enciphered, not authenticated: a byte
// changed in it deciphers to changed data, and the call still gives 1 unless
// the change makes the recorded length too large for the block. Data blobs,
// the fallback block included, are authenticated: any change gives 0.
BASE_EXPORT int DecryptMemoryWinProtect(BYTE* data,
                                        DWORD length,
                                        BYTE** result,
                                        DWORD* resultLength);

#endif  // BASE_PROTECT_H_
