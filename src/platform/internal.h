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
