#include "platform/win32/carried_exception_win.h"

#include <utility>

namespace base::platform::win32 {
namespace {

// The thread's innermost carrier. A plain pointer: nothing to destroy when a
// thread ends, and nothing that would keep the module loaded.
thread_local Carrier* t_innermost = nullptr;

WindowHandle ToHandle(HWND window) {
  return reinterpret_cast<WindowHandle>(window);
}

}  // namespace

Carrier::Carrier() : enclosing_(t_innermost) {
  t_innermost = this;
}

Carrier::~Carrier() {
  t_innermost = enclosing_;
}

void Carrier::RethrowCarried() {
  if (carried_)
    std::rethrow_exception(std::exchange(carried_, nullptr));
}

LRESULT RunCarried(WindowProcedure procedure,
                   HWND window,
                   UINT message,
                   WPARAM wparam,
                   LPARAM lparam) {
  Carrier* const carrier = t_innermost;
  if (!carrier)
    return procedure(ToHandle(window), message, wparam, lparam);
  try {
    return procedure(ToHandle(window), message, wparam, lparam);
  } catch (...) {
    if (!carrier->carried_)
      carrier->carried_ = std::current_exception();
    // A creation whose procedure threw is refused, so that no window is left
    // behind that its caller never got (0 and -1 refuse the two creation
    // messages; 0 is what the others expect of a handled message).
    return message == WM_CREATE ? -1 : 0;
  }
}

void DispatchCarried(const MSG& message) {
  Carrier carrier;
  TranslateMessage(&message);
  DispatchMessageW(&message);
  carrier.RethrowCarried();
}

}  // namespace base::platform::win32
