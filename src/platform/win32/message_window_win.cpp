// Message windows are the system's own message-only windows (parent
// HWND_MESSAGE), and their procedures are registered as they are: a
// WindowProcedure has the system's signature and calling convention.
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

// The classes this module registered, unregistered with the module's statics,
// after the exit-table entries that destroy the library's windows.
class RegisteredClasses {
 public:
  RegisteredClasses() = default;
  RegisteredClasses(const RegisteredClasses&) = delete;
  RegisteredClasses& operator=(const RegisteredClasses&) = delete;
  ~RegisteredClasses() {
    for (const std::wstring& name : names_)
      UnregisterClassW(name.c_str(), ModuleInstance());
  }

  void Add(const wchar_t* name) {
    AcquireSRWLockExclusive(&lock_);
    names_.emplace_back(name);
    ReleaseSRWLockExclusive(&lock_);
  }

 private:
  SRWLOCK lock_ = SRWLOCK_INIT;
  std::vector<std::wstring> names_;
};

RegisteredClasses g_classes;

}  // namespace

bool RegisterWindowClass(const wchar_t* className, WindowProcedure procedure) {
  if (!className || !procedure)
    return false;
  WNDCLASSEXW windowClass = {};
  windowClass.cbSize = sizeof windowClass;
  windowClass.lpfnWndProc = reinterpret_cast<WNDPROC>(procedure);
  windowClass.cbWndExtra = kWindowExtraBytes;
  windowClass.hInstance = ModuleInstance();
  windowClass.hbrBackground = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
  windowClass.lpszClassName = className;
  if (!RegisterClassExW(&windowClass))
    return false;
  g_classes.Add(className);
  return true;
}

WindowHandle CreateMessageWindow(const wchar_t* className,
                                 const wchar_t* windowName,
                                 void* creationParameter) {
  if (controls::TakeCreationFailure() || !className)
    return nullptr;
  const HWND window = CreateWindowExW(0, className, windowName, 0, 0, 0, 100, 100, HWND_MESSAGE,
                                      nullptr, ModuleInstance(), creationParameter);
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
  if (!DestroyWindow(system))
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
