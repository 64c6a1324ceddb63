// What every platform backend provides. Subsystem code includes only the
// vocabulary headers below, never an OS header.
//
//   clock.h                the wrapping millisecond tick
//   exit_table.h           the module's exit table (atexit from inside the module)
//   files.h                files and directories under UTF-8 paths
//   os_version.h           the OS major version
//
// Each backend implements every header in its own folder: posix/<name>_posix.cpp,
// win32/<name>_win.cpp. Test controls are declared in testing/<name>_testing.h
// and compiled into the library, never exported.
#ifndef BASE_PLATFORM_INTERNAL_H_
#define BASE_PLATFORM_INTERNAL_H_

#include "platform/clock.h"
#include "platform/exit_table.h"
#include "platform/files.h"
#include "platform/os_version.h"

#endif  // BASE_PLATFORM_INTERNAL_H_
