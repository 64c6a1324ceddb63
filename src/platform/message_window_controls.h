// The test controls of the message windows, shared by both backends: failures
// asked for and the observer of destructions. Production code never sets
// them. Not exported.
#ifndef BASE_PLATFORM_MESSAGE_WINDOW_CONTROLS_H_
#define BASE_PLATFORM_MESSAGE_WINDOW_CONTROLS_H_

#include "platform/message_window.h"

namespace base::platform::controls {

// Each takes one of the failures a test asked for: true means the call fails.
bool TakeCreationFailure();
bool TakePostFailure();

// Tells the observer, if a test set one, that `window` begins its destruction.
void ReportDestruction(WindowHandle window);

}  // namespace base::platform::controls

#endif  // BASE_PLATFORM_MESSAGE_WINDOW_CONTROLS_H_
