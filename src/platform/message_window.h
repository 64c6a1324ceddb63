// Hidden message windows: the way the library gets work onto one thread.
//
// A window belongs to the thread that creates it, and its procedure runs only
// on that thread, while the thread dispatches messages. Other threads reach it
// by posting messages and by setting or killing its timers. Each thread that
// owns a window has one message queue: posted messages in the order they were
// posted, and the timers of its windows, which turn into timer messages only
// once the messages that were already waiting have been dispatched.
//
// Threading: PostWindowMessage, SetWindowTimer, KillWindowTimer and the window
// word may be used from any thread; CreateMessageWindow makes the calling
// thread the owner; DestroyMessageWindow belongs to the owner thread.
//
// Dispatch is re-entrant: a procedure may pump messages itself (on posix
// through base::PumpMessages), and may destroy windows or kill timers,
// including the one whose message it is handling.
#ifndef BASE_PLATFORM_MESSAGE_WINDOW_H_
#define BASE_PLATFORM_MESSAGE_WINDOW_H_

#include <cstdint>

namespace base::platform {

// Opaque; never dereferenced by callers. Null is never a window. A destroyed
// window's handle is not reused, so calls with it fail instead of reaching
// another window.
struct WindowTag;
using WindowHandle = WindowTag*;

// Procedures use the system's calling convention, so that the Windows
// backend registers them as they are: on 32-bit Windows a procedure without it
// would be called with the wrong stack discipline.
#if defined(_WIN32)
#define BASE_WINDOW_CALL __stdcall
#else
#define BASE_WINDOW_CALL
#endif

// Result, then (window, message, first and second parameter).
using WindowProcedure = std::intptr_t(BASE_WINDOW_CALL*)(WindowHandle window,
                                                         std::uint32_t message,
                                                         std::uintptr_t wparam,
                                                         std::intptr_t lparam);

// Messages of the system. Numbers below kMessageUser are the system's;
// a window class may use kMessageUser and above for its own.
//
// Sent to the procedure inside CreateMessageWindow, before it returns. lparam
// carries the creation parameter: read it with CreationParameter. A result of
// -1 refuses the creation: the window is destroyed and creation fails.
constexpr std::uint32_t kMessageCreate = 0x0001;
// Sent to the procedure inside DestroyMessageWindow. The window is still valid
// while it is handled (its word can be read and written).
constexpr std::uint32_t kMessageDestroy = 0x0002;
// A due timer; wparam is the timer id, lparam 0.
constexpr std::uint32_t kMessageTimer = 0x0113;
constexpr std::uint32_t kMessageUser = 0x0400;

// Periods below this are raised to it, as the Windows timers do.
constexpr std::uint32_t kMinimumTimerPeriod = 10;

// Registers a window class under `className` (compared exactly). Returns false
// if the name is taken, in which case the first registration stays in force.
bool RegisterWindowClass(const wchar_t* className, WindowProcedure procedure);

// Creates a hidden, message-only window of a registered class, owned by the
// calling thread, and delivers kMessageCreate to its procedure before it
// returns. `windowName` names the window for the system's tools only.
// Returns null if the class is not registered or the creation was refused.
[[nodiscard]] WindowHandle CreateMessageWindow(const wchar_t* className,
                                               const wchar_t* windowName,
                                               void* creationParameter);

// The creation parameter, from the lparam of kMessageCreate.
void* CreationParameter(std::intptr_t createLParam);

// Destroys `window`: delivers kMessageDestroy, then kills its timers and drops
// the messages posted to it. Only the owner thread may do this; elsewhere, and
// for a window that is gone or being destroyed, returns false.
bool DestroyMessageWindow(WindowHandle window);

// What a procedure returns for messages it does not handle.
std::intptr_t DefaultWindowProcedure(WindowHandle window,
                                     std::uint32_t message,
                                     std::uintptr_t wparam,
                                     std::intptr_t lparam);

// Word 0 of the window's extra data, pointer-sized, 0 at creation. Set returns
// the previous value; both return 0 for a window that is gone.
std::intptr_t SetWindowWord0(WindowHandle window, std::intptr_t value);
std::intptr_t GetWindowWord0(WindowHandle window);

// Queues a message for the window's procedure, behind those already posted.
// Returns false if the window is gone. Never waits for the dispatch.
bool PostWindowMessage(WindowHandle window,
                       std::uint32_t message,
                       std::uintptr_t wparam,
                       std::intptr_t lparam);

// Arms the periodic timer `id` of `window`, first due `periodMs` from now.
// Due times are read on TickCount(), so a shifted tick brings them due: a test
// may advance the tick and then pump, without sleeping.
// Setting an id that exists re-arms it with the new period. At most one timer
// message per timer is ever pending; periods missed while the owner was busy
// fold into that one. Returns false if the window is gone.
bool SetWindowTimer(WindowHandle window, std::uintptr_t id, std::uint32_t periodMs);

// Stops timer `id` of `window`; no message of it is delivered afterwards.
// Returns false if there was no such timer.
bool KillWindowTimer(WindowHandle window, std::uintptr_t id);

}  // namespace base::platform

#endif  // BASE_PLATFORM_MESSAGE_WINDOW_H_
