// Message windows are the system's own message-only windows (parent
// HWND_MESSAGE). Every class has one procedure of this file, which finds the
// class's own WindowProcedure and runs it under the thread's exception carrier
// (carried_exception_win.h), since an exception cannot leave a procedure
// through the system's frames on 32-bit Windows.
//
// Classes are registered under the instance of the module that holds this
// code, not the process's: two modules that each carry the library then keep
// their classes apart, and the classes are unregistered when the module ends,
// so that a module loaded again registers afresh instead of finding a class
// whose procedure was unloaded with the old copy.
#include "platform/message_window.h"

#include <windows.h>

#include <string>
#include <vector>

#include "platform/message_window_controls.h"
#include "platform/win32/carried_exception_win.h"
#include "platform/win32/srw_lock_win.h"
#include "platform/win32/window_timers_win.h"

// The linker's name for the header of the module this code is linked into.
extern "C" IMAGE_DOS_HEADER __ImageBase;  // NOLINT(readability-identifier-naming)

namespace base::platform {
namespace {

// Word 0 is pointer-sized: on 32-bit Windows the 4 bytes of SetWindowLongW,
// on 64-bit the 8 that a pointer needs, through the ...Ptr forms.
constexpr int kWindowExtraBytes = sizeof(LONG_PTR);

HINSTANCE ModuleInstance() {
  return reinterpret_cast<HINSTANCE>(&__ImageBase);
}

HWND ToSystem(WindowHandle window) {
  return reinterpret_cast<HWND>(window);
}

// The classes this module registered, with their procedures, unregistered
// with the module's statics, after the exit-table entries that destroy the
// library's windows.
class RegisteredClasses {
 public:
  RegisteredClasses() = default;
  RegisteredClasses(const RegisteredClasses&) = delete;
  RegisteredClasses& operator=(const RegisteredClasses&) = delete;
  ~RegisteredClasses() {
    for (const Class& registered : classes_)
      UnregisterClassW(registered.name.c_str(), ModuleInstance());
  }

  void Add(ATOM atom, const wchar_t* name, WindowProcedure procedure) {
    win32::ExclusiveHold hold(lock_);
    classes_.push_back({atom, name, procedure});
  }

  // Null for a class this module did not register.
  WindowProcedure ProcedureOf(ATOM atom) {
    win32::SharedHold hold(lock_);
    for (const Class& registered : classes_) {
      if (registered.atom == atom)
        return registered.procedure;
    }
    return nullptr;
  }

 private:
  struct Class {
    ATOM atom;
    std::wstring name;
    WindowProcedure procedure;
  };

  SRWLOCK lock_ = SRWLOCK_INIT;
  std::vector<Class> classes_;
};

RegisteredClasses g_classes;

LRESULT CALLBACK CarryingProcedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  const WindowProcedure procedure =
      g_classes.ProcedureOf(static_cast<ATOM>(GetClassWord(window, GCW_ATOM)));
  if (!procedure)
    return DefWindowProcW(window, message, wparam, lparam);
  return win32::RunCarried(procedure, window, message, wparam, lparam);
}

}  // namespace

bool RegisterWindowClass(const wchar_t* className, WindowProcedure procedure) {
  if (!className || !procedure)
    return false;
  WNDCLASSEXW windowClass = {};
  windowClass.cbSize = sizeof windowClass;
  windowClass.lpfnWndProc = &CarryingProcedure;
  windowClass.cbWndExtra = kWindowExtraBytes;
  windowClass.hInstance = ModuleInstance();
  windowClass.hbrBackground = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
  windowClass.lpszClassName = className;
  const ATOM atom = RegisterClassExW(&windowClass);
  if (!atom)
    return false;
  g_classes.Add(atom, className, procedure);
  return true;
}

WindowHandle CreateMessageWindow(const wchar_t* className,
                                 const wchar_t* windowName,
                                 void* creationParameter) {
  if (controls::TakeCreationFailure() || !className)
    return nullptr;
  win32::Carrier carrier;
  const HWND window = CreateWindowExW(0, className, windowName, 0, 0, 0, 100, 100, HWND_MESSAGE,
                                      nullptr, ModuleInstance(), creationParameter);
  carrier.RethrowCarried();
  if (!window)
    return nullptr;
  ShowWindow(window, SW_HIDE);
  return reinterpret_cast<WindowHandle>(window);
}

void* CreationParameter(std::intptr_t createLParam) {
  return reinterpret_cast<const CREATESTRUCTW*>(createLParam)->lpCreateParams;
}

bool DestroyMessageWindow(WindowHandle window) {
  const HWND system = ToSystem(window);
  // Checked first so that the observer sees only destructions that happen.
  if (!IsWindow(system) || GetWindowThreadProcessId(system, nullptr) != GetCurrentThreadId())
    return false;
  controls::ReportDestruction(window);
  win32::Carrier carrier;
  const bool destroyed = DestroyWindow(system) != FALSE;
  carrier.RethrowCarried();
  if (!destroyed)
    return false;
  win32::ForgetWindowTimers(system);
  return true;
}

std::intptr_t DefaultWindowProcedure(WindowHandle window,
                                     std::uint32_t message,
                                     std::uintptr_t wparam,
                                     std::intptr_t lparam) {
  return DefWindowProcW(ToSystem(window), message, wparam, lparam);
}

std::intptr_t SetWindowWord0(WindowHandle window, std::intptr_t value) {
  return SetWindowLongPtrW(ToSystem(window), 0, value);
}

std::intptr_t GetWindowWord0(WindowHandle window) {
  return GetWindowLongPtrW(ToSystem(window), 0);
}

bool PostWindowMessage(WindowHandle window,
                       std::uint32_t message,
                       std::uintptr_t wparam,
                       std::intptr_t lparam) {
  if (controls::TakePostFailure())
    return false;
  return PostMessageW(ToSystem(window), message, wparam, lparam) != FALSE;
}

bool SetWindowTimer(WindowHandle window, std::uintptr_t id, std::uint32_t periodMs) {
  if (!SetTimer(ToSystem(window), id, periodMs, nullptr))
    return false;
  win32::NoteTimerArmed(ToSystem(window), id, periodMs);
  return true;
}

bool KillWindowTimer(WindowHandle window, std::uintptr_t id) {
  win32::ForgetTimer(ToSystem(window), id);
  return KillTimer(ToSystem(window), id) != FALSE;
}

}  // namespace base::platform
