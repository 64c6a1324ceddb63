// Exceptions out of the library's window procedures, carried past the system.
// Internal to the Windows backend.
//
// A procedure runs below the system's own frames (user32's dispatch, the
// window creation and destruction calls), and an exception that leaves it must
// cross them to reach the code that called into the system. On 64-bit Windows
// the unwinder walks them; on 32-bit Windows it cannot, and the process ends in
// std::terminate. So the library's procedures run inside a catch, and what
// they throw is kept by the innermost Carrier of the thread and thrown again
// as soon as the system call returns: the same exception, on the same thread,
// with the same procedures run and not run as if it had passed through.
//
// With no Carrier on the thread (a host's own GetMessageW loop dispatches),
// the exception is left to the system as before: it reaches that loop on
// 64-bit Windows and ends the process on 32-bit Windows.
#ifndef BASE_PLATFORM_WIN32_CARRIED_EXCEPTION_WIN_H_
#define BASE_PLATFORM_WIN32_CARRIED_EXCEPTION_WIN_H_

#include <windows.h>

#include <exception>

#include "platform/message_window.h"

namespace base::platform::win32 {

// Set around one call into the system that may run the library's procedures.
// Carriers nest: a procedure that pumps sets its own.
class Carrier {
 public:
  Carrier();
  Carrier(const Carrier&) = delete;
  Carrier& operator=(const Carrier&) = delete;
  ~Carrier();

  // Throws what a procedure threw since this carrier was set, if anything.
  // Only the first exception is kept: the system returns from the procedure
  // that threw, and a second one can come only from a later procedure.
  void RethrowCarried();

 private:
  friend LRESULT RunCarried(WindowProcedure, HWND, UINT, WPARAM, LPARAM);

  Carrier* const enclosing_;
  std::exception_ptr carried_;
};

// Runs `procedure` for one message. What it throws goes to the thread's
// innermost Carrier, and the system is told 0 (-1 for WM_CREATE, which
// refuses the creation); with no Carrier it propagates.
LRESULT RunCarried(WindowProcedure procedure,
                   HWND window,
                   UINT message,
                   WPARAM wparam,
                   LPARAM lparam);

// TranslateMessageW and DispatchMessageW under a Carrier, then throws what
// the procedure threw.
void DispatchCarried(const MSG& message);

}  // namespace base::platform::win32

#endif  // BASE_PLATFORM_WIN32_CARRIED_EXCEPTION_WIN_H_
