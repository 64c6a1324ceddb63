// Test controls: make window calls fail, to reach the paths that must cope
// with a window that could not be made or a post that did not go. Not exported.
#ifndef BASE_PLATFORM_TESTING_MESSAGE_WINDOW_TESTING_H_
#define BASE_PLATFORM_TESTING_MESSAGE_WINDOW_TESTING_H_

#include "platform/message_window.h"

namespace base::platform::testing {

// The next `count` calls of CreateMessageWindow, on any thread, return null
// without reaching the procedure. 0 removes what is left of an earlier call.
void FailWindowCreations(unsigned count);
// The next `count` calls of PostWindowMessage, on any thread, return false
// and queue nothing. 0 removes what is left of an earlier call.
void FailWindowPosts(unsigned count);
// Calls `observer` with each window whose destruction begins, on the thread
// that destroys it, before its procedure sees the destroy message. Null stops.
void ObserveWindowDestruction(void (*observer)(WindowHandle window));

}  // namespace base::platform::testing

#endif  // BASE_PLATFORM_TESTING_MESSAGE_WINDOW_TESTING_H_
