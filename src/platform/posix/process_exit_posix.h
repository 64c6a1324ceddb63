// Telling the end of the process from an unload of the module. Both run the
// module's exit table, but only at the end of the process may threads that
// are still blocked be left behind: exit() ends them with the process, while
// dlclose would unmap the code they run. Posix-private.
#ifndef BASE_PLATFORM_POSIX_PROCESS_EXIT_POSIX_H_
#define BASE_PLATFORM_POSIX_PROCESS_EXIT_POSIX_H_

namespace base::platform {

// Arranges for ProcessIsEnding to turn true once exit() begins its handlers,
// before every exit-table entry that was added before this call. Call it after
// adding the entries that must know; once per load of the module.
void WatchForProcessEnd();

// Takes the mark away again, at an unload: runs its exit handler once now and
// frees it, so nothing is left behind for exit() to run. ProcessIsEnding is
// false from then on.
void StopWatchingForProcessEnd();

// True from the moment exit() reached the mark of WatchForProcessEnd on. Never
// true during an unload. Any thread may ask.
bool ProcessIsEnding();

// Blocks the calling thread until the process ends it: what a thread that
// must not return into torn-down code does once the process is ending.
[[noreturn]] void WaitForProcessEnd();

}  // namespace base::platform

#endif  // BASE_PLATFORM_POSIX_PROCESS_EXIT_POSIX_H_
