// CTimerBase: the scheduler's hidden window and its two callback queues.
//
// The window belongs to the thread that makes it, and every timer and async
// callback runs there, from that thread's message loop. The idle and async
// queues may be filled, emptied and run from any thread; `lock_` guards them
// and nothing else, and no callback ever runs under it.
#ifndef BASE_TIMER_TIMER_BASE_H_
#define BASE_TIMER_TIMER_BASE_H_

#include <cstdint>
#include <vector>

#include "base/platform.h"
#include "platform/message_window.h"
#include "platform/sync.h"
#include "timer/timer_record.h"

namespace base {

class CTimerBase {
 public:
  // Messages of the window besides the system's.
  static constexpr std::uint32_t kMessageRunAsync = 0x47B;
  static constexpr std::uint32_t kMessageStartTimers = 0x47C;

  CTimerBase(const CTimerBase&) = delete;
  CTimerBase& operator=(const CTimerBase&) = delete;
  // Destroys the window; waiting idle and async callbacks go uncalled.
  virtual ~CTimerBase();

  // A platform timer of the window is due. Returns the message's result.
  virtual std::int32_t OnTimer(std::uintptr_t id) = 0;
  // The window's first start message. Later ones must do nothing.
  virtual void OnStart() = 0;

  bool SetIdleCallback(SchedulerCallback callback, void* param, void* owner);
  bool EraseIdleCallback(SchedulerCallback callback, void* owner);
  void NotifyIdle();
  bool SetAsyncCallback(SchedulerCallback callback, void* param, void* owner);
  bool EraseAsyncCallback(SchedulerCallback callback, void* owner);

  platform::WindowHandle window() const { return window_; }
  LONG idleGuard() const { return idleGuard_; }

 protected:
  // Makes the window on the calling thread, which then owns it.
  CTimerBase();

  // Registers the class and makes the window, unless there is one. Failure
  // leaves `window_` null, and the next caller tries again.
  void MakeWindow();

 private:
  static std::intptr_t BASE_WINDOW_CALL WindowProcedure(platform::WindowHandle window,
                                                        std::uint32_t message,
                                                        std::uintptr_t wparam,
                                                        std::intptr_t lparam);
  void RunAsyncBatch();

  platform::WindowHandle window_ = nullptr;
  // -1 while no NotifyIdle is inside; changed only by interlocked operations.
  volatile LONG idleGuard_ = -1;
  std::vector<CallbackRecord> idleCallbacks_;   // oldest first, under lock_
  std::vector<CallbackRecord> asyncCallbacks_;  // oldest first, under lock_
  platform::CriticalSection lock_;
};

}  // namespace base

#endif  // BASE_TIMER_TIMER_BASE_H_
