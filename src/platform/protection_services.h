// The system's data- and memory-protection services, reached the way a
// Windows program reaches them: a service module is found by name, a function
// by name inside it, and the module is released again. Nothing is cached, so
// each call sees the services exactly as the system offers them at that time.
//
// On Windows these are LoadLibraryA, GetProcAddress and FreeLibrary over
// "Crypt32.dll" and "Advapi32.dll". The posix backend has two built-in modules
// of the same names whose functions have the same signatures and contracts.
//
// Threading: every function here may be called from any thread.
#ifndef BASE_PLATFORM_PROTECTION_SERVICES_H_
#define BASE_PLATFORM_PROTECTION_SERVICES_H_

#include <cstddef>

#include "base/platform.h"

// The services use the system's calling convention; on 32-bit Windows a
// pointer type without it calls them with the wrong stack discipline.
#if defined(_WIN32)
#define BASE_SERVICE_CALL __stdcall
#else
#define BASE_SERVICE_CALL
#endif

namespace base::platform {

inline constexpr char kCrypt32Module[] = "Crypt32.dll";
inline constexpr char kAdvapi32Module[] = "Advapi32.dll";

// Flags the library passes; the posix services accept exactly these.
inline constexpr DWORD kProtectLocalMachine = 4;        // CRYPTPROTECT_LOCAL_MACHINE
inline constexpr DWORD kProtectUiForbidden = 1;         // CRYPTPROTECT_UI_FORBIDDEN
inline constexpr DWORD kProtectMemoryCrossProcess = 1;  // CRYPTPROTECTMEMORY_CROSS_PROCESS
inline constexpr DWORD kSystemMemoryCrossProcess = 1;   // RTL_ENCRYPT_OPTION_CROSS_PROCESS
inline constexpr DWORD kMemoryBlockUnit = 16;           // CRYPTPROTECTMEMORY_BLOCK_SIZE
inline constexpr DWORD kLegacyMemoryBlockUnit = 8;      // RTL_ENCRYPT_MEMORY_SIZE

// "Crypt32.dll". The output blob's bytes and the description belong to the
// caller, who frees them with LocalFree. The library never passes entropy, a
// reserved word or a prompt structure.
using CryptProtectDataFn = BOOL(BASE_SERVICE_CALL*)(DATA_BLOB* input,
                                                    const wchar_t* description,
                                                    DATA_BLOB* entropy,
                                                    void* reserved,
                                                    void* prompt,
                                                    DWORD flags,
                                                    DATA_BLOB* output);
using CryptUnprotectDataFn = BOOL(BASE_SERVICE_CALL*)(DATA_BLOB* input,
                                                      wchar_t** description,
                                                      DATA_BLOB* entropy,
                                                      void* reserved,
                                                      void* prompt,
                                                      DWORD flags,
                                                      DATA_BLOB* output);
// In place; `size` is a multiple of kMemoryBlockUnit. Non-zero is success.
using CryptProtectMemoryFn = BOOL(BASE_SERVICE_CALL*)(void* block, DWORD size, DWORD flags);

// "Advapi32.dll", SystemFunction040 and SystemFunction041. In place; `size` is
// a multiple of kLegacyMemoryBlockUnit. 0 is success.
using SystemMemoryFn = LONG(BASE_SERVICE_CALL*)(void* block, DWORD size, DWORD options);

// A loaded service module, or null.
struct ServiceModule;
// What FindServiceFunction gives; cast to the function's own type.
using ServiceFunction = void (*)();

// Loads a service module by name; module names compare without regard to
// case, as system library names do. Returns null if there is no such module.
// Every module loaded must be released with ReleaseServiceModule.
[[nodiscard]] ServiceModule* LoadServiceModule(const char* name);

// The function `name` of a loaded module (names are case-sensitive), or null.
[[nodiscard]] ServiceFunction FindServiceFunction(ServiceModule* module, const char* name);

// Releases a module from LoadServiceModule. Null is ignored.
void ReleaseServiceModule(ServiceModule* module);

// Overwrites `size` bytes with zeros in a way that the compiler does not drop
// as a dead store (SecureZeroMemory on Windows): for copies of secrets that
// are about to be freed.
void SecureWipe(void* bytes, std::size_t size);

}  // namespace base::platform

#endif  // BASE_PLATFORM_PROTECTION_SERVICES_H_
