// The calling thread's part in the posix message windows: its message queue,
// if it owns windows or pumps, and its memo of the windows it looked up.
// Internal to the posix backend.
//
// Lifetime: a thread's part is made at its first use and torn down when the
// thread exits (its windows destroyed as their owner would destroy them). The
// parts of threads still alive when the library is unloaded are freed then,
// without calling any procedure: by that time the host has stopped calling in.
#ifndef BASE_PLATFORM_POSIX_MESSAGE_THREAD_POSIX_H_
#define BASE_PLATFORM_POSIX_MESSAGE_THREAD_POSIX_H_

#include <memory>

#include "platform/message_window.h"

namespace base::platform {

class MessageQueue;
struct Window;

// The windows a thread looked up last. Posters and procedures reach the same
// few windows again and again, and the registry's lock is shared by every
// thread of the process: this keeps that lock, and any shared count, off the
// path of a post. An entry keeps its window's record (not the window) alive
// until it is replaced or the thread ends.
struct RecentWindows {
  static constexpr unsigned kSize = 4;
  WindowHandle handles[kSize] = {};
  std::shared_ptr<Window> windows[kSize];
  unsigned next = 0;
};

// The calling thread's queue, made at first use. Null if the system has no
// per-thread slot to give.
MessageQueue* CurrentQueue();
// The calling thread's queue if it has one; never makes one.
MessageQueue* CurrentQueueIfAny();
// The calling thread's memo, made at first use; null as for CurrentQueue.
RecentWindows* CurrentRecentWindows();

}  // namespace base::platform

#endif  // BASE_PLATFORM_POSIX_MESSAGE_THREAD_POSIX_H_
