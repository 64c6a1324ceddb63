// Exit notifications: modules register callbacks that the host fires when it
// is about to end. There are two independent lists: the save-data list,
// fired by NotifySaveDataBeforeExit, for modules that must write their data
// out first, and the exit list, fired by NotifyExit, for modules that release
// things at the end. The library never fires either by itself; callbacks that
// were never fired are dropped uncalled when the library is unloaded.
//
// A list holds each function once, with one argument, and calls them in
// ascending order of their addresses, not in the order of registration.
// Firing walks a copy: a callback may add or remove entries, itself included,
// and the change applies from the next firing on. An exception out of a
// callback ends the firing and reaches the caller of Notify...
//
// Threading: no list is locked. Calls on one list must not overlap each other;
// callbacks run on the thread that fires the list.
#ifndef BASE_EXIT_NOTIFY_H_
#define BASE_EXIT_NOTIFY_H_

#include "base/export.h"

// A callback and the argument registered with it. Must not be null.
using ExitCallBackFunc = void (*)(void* param);

// Sets the argument of `callback` in the exit list, adding it if needed.
BASE_EXPORT void AddExitCallBack(ExitCallBackFunc callback, void* param);
// Removes `callback` from the exit list; a function not in it is no error.
BASE_EXPORT void RemoveExitCallBack(ExitCallBackFunc callback);
// Calls every callback of the exit list. The list stays as it is.
BASE_EXPORT void NotifyExit();

// The same three for the save-data list.
BASE_EXPORT void AddExitSaveDataCallBack(ExitCallBackFunc callback, void* param);
BASE_EXPORT void RemoveExitSaveDataCallBack(ExitCallBackFunc callback);
BASE_EXPORT void NotifySaveDataBeforeExit();

#endif  // BASE_EXIT_NOTIFY_H_
