// The library's exit table: functions without arguments that run when the
// library is unloaded or the process ends, the last one added first.
#ifndef BASE_PLATFORM_EXIT_TABLE_H_
#define BASE_PLATFORM_EXIT_TABLE_H_

namespace base::platform {

// Adds `entry` to the table of the module this code is linked into. The trap:
// the registration must be made from code inside that module, so that it runs
// at that module's unload (dlclose) and not only at the end of the process.
// Returns false if the table is full; callers that must not care ignore it.
// The test seam of testing/exit_table_testing.h applies.
bool AddExitTableEntry(void (*entry)());

// The system's own registration, with the same contract and without the seam.
// Each backend provides it.
bool AddSystemExitTableEntry(void (*entry)());

}  // namespace base::platform

#endif  // BASE_PLATFORM_EXIT_TABLE_H_
