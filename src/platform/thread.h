// Facts about the calling thread, and giving up the processor.
//
// Threading: every function here concerns the calling thread only.
#ifndef BASE_PLATFORM_THREAD_H_
#define BASE_PLATFORM_THREAD_H_

#include <cstdint>

namespace base::platform {

// A number that names the calling thread among all live threads of the
// process. Never 0. A number may be given again after its thread has ended.
std::uint32_t CurrentThreadId();

// Blocks the calling thread for `milliseconds`. 0 gives up the rest of the time
// slice and returns; INFINITE never returns. Not interruptible.
void Sleep(std::uint32_t milliseconds);

}  // namespace base::platform

#endif  // BASE_PLATFORM_THREAD_H_
