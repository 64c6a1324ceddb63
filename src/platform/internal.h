// What every platform backend provides. Subsystem code includes only the
// vocabulary headers below, never an OS header.
//
//   clock.h                the wrapping millisecond tick
//   codepage.h             code-page facts and single-character conversion
//   exit_table.h           the module's exit table (atexit from inside the module)
//   files.h                files and directories under UTF-8 paths
//   message_window.h       hidden message windows, posted messages, window timers
//   os_version.h           the OS major version
//   protection_services.h  the data- and memory-protection service modules
//   sync.h                 the critical section (counters are in base/platform.h)
//   thread.h               the calling thread's id, sleep
//   thread_local_slot.h    a pointer per thread, released at thread exit without
//                          pinning the module (posix only: on Windows the
//                          system keeps each thread's message queue)
//   thread_pool.h          the elastic pool of work items, joined at unload
//   wait.h                 events, waitable timers, waits for one or any of three
//   (base/platform.h)      LocalAlloc/LocalFree, the heap of protected results
//
// Each backend implements every header in its own folder: posix/<name>_posix.cpp,
// win32/<name>_win.cpp. Test controls are declared in testing/<name>_testing.h
// and compiled into the library, never exported.
//
// Posix-private helpers, included by posix/*.cpp only, never by subsystem code:
//
//   posix/blocking_wait_posix.h      how the library's waits tell the pool a worker blocks
//   posix/cipher_posix.h             OpenSSL glue of the protection services
//   posix/codepage_decoder_posix.h   one decoder of a code page, ICU's or iconv's
//   posix/codepage_sources_posix.h   which library decodes each page, and its fixes
//   posix/machine_keys_posix.h       keys derived from the machine and boot identity
//   posix/message_queue_posix.h      a thread's message queue: posts, timers, dispatch
//   posix/message_thread_posix.h     the calling thread's queue and recent windows
//   posix/mutex_owner_posix.h        AssertHeld for the backend's own std::mutex locks
//   posix/process_exit_posix.h       whether the process is ending or the module unloading
//   posix/service_functions_posix.h  the functions of the built-in service modules
//
// Win32-private helpers, included by win32/*.cpp only:
//
//   win32/window_timers_win.h        the due tick of each armed window timer
//
// The test build compiles this header, each vocabulary header it includes and
// each private helper of its own platform alone in a translation unit of its
// own, so a header that is missing or not self-contained fails the build.
#ifndef BASE_PLATFORM_INTERNAL_H_
#define BASE_PLATFORM_INTERNAL_H_

#include "platform/clock.h"
#include "platform/codepage.h"
#include "platform/exit_table.h"
#include "platform/files.h"
#include "platform/message_window.h"
#include "platform/os_version.h"
#include "platform/protection_services.h"
#include "platform/sync.h"
#include "platform/thread.h"
#include "platform/thread_local_slot.h"
#include "platform/thread_pool.h"
#include "platform/wait.h"

#endif  // BASE_PLATFORM_INTERNAL_H_
