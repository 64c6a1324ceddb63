// The per-thread message queue behind the posix message windows, and the
// window record it delivers to. Internal to the posix backend.
#ifndef BASE_PLATFORM_POSIX_MESSAGE_QUEUE_POSIX_H_
#define BASE_PLATFORM_POSIX_MESSAGE_QUEUE_POSIX_H_

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/message_window.h"

namespace base::platform {

class MessageQueue;

struct Window {
  Window(WindowHandle h, WindowProcedure p, std::shared_ptr<MessageQueue> q)
      : handle(h), procedure(p), queue(std::move(q)) {}

  const WindowHandle handle;
  const WindowProcedure procedure;
  const std::shared_ptr<MessageQueue> queue;
  std::atomic<std::intptr_t> word0{0};
  // Owner thread only: a destruction has begun (kMessageDestroy is running).
  bool destroying = false;
  // Guarded by the queue's mutex: set once the window is gone; from then on
  // posts and timers are refused and nothing more is delivered to it.
  bool closed = false;
};

// One per thread that owns windows or pumps. Posting and timers may come from
// any thread; dispatching and waiting belong to the owner thread.
//
// Wake-up: an eventfd is signalled when a message is queued, and a timerfd is
// armed for the earliest timer. The owner waits on both; hosts get an epoll
// descriptor over both. Timer due times are ticks, so a shifted tick is seen
// at the next check even though the timerfd runs on the real clock.
class MessageQueue : public std::enable_shared_from_this<MessageQueue> {
 public:
  // The calling thread's queue, made at first use. Null if its descriptors
  // cannot be had, or once the thread has begun to exit.
  static MessageQueue* ForCurrentThread();
  // The calling thread's queue if it has one; never makes one.
  static MessageQueue* CurrentIfAny();

  MessageQueue(int eventFd, int timerFd);
  MessageQueue(const MessageQueue&) = delete;
  MessageQueue& operator=(const MessageQueue&) = delete;
  ~MessageQueue();

  // Any thread. False once the window is closed.
  bool Post(const std::shared_ptr<Window>& window,
            std::uint32_t message,
            std::uintptr_t wparam,
            std::intptr_t lparam);
  bool SetTimer(const std::shared_ptr<Window>& window, std::uintptr_t id, std::uint32_t periodMs);
  bool KillTimer(const Window& window, std::uintptr_t id);

  // Owner thread. Marks the window closed and drops its messages and timers.
  void Close(Window& window);
  void AddWindow(WindowHandle window);
  void RemoveWindow(WindowHandle window);

  // Owner thread. Dispatches the messages waiting now, then the timers due
  // now; returns how many were delivered. With `stopAtQuit`, returns early
  // once a quit has been asked for.
  unsigned DispatchPending(bool stopAtQuit);
  // Owner thread. Waits up to `timeoutMs` (UINT32_MAX: no limit) until
  // something is pending; returns whether something is.
  bool WaitForWork(std::uint32_t timeoutMs);
  void RequestQuit() { quit_ = true; }
  // Clears a quit request and returns whether there was one.
  bool TakeQuit();
  // Owner thread. The descriptor for hosts' loops, or -1 if none can be had.
  int PollFd();

 private:
  struct Posted {
    std::shared_ptr<Window> window;
    std::uint32_t message;
    std::uintptr_t wparam;
    std::intptr_t lparam;
  };
  struct Timer {
    std::shared_ptr<Window> window;
    std::uintptr_t id;
    std::uint32_t period;
    std::uint32_t due;
  };
  class ResyncOnExit;

  bool PopPosted(Posted& out);
  bool PopDueTimer(std::uint32_t now, std::shared_ptr<Window>& window, std::uintptr_t& id);
  // All *Locked members run with mutex_ held.
  bool PendingLocked(std::uint32_t now) const;
  void SignalLocked();
  void ClearWakeLocked();
  // Makes the descriptors tell the truth: signalled if work is pending, the
  // timerfd armed for the earliest timer that is not yet due.
  void ResyncLocked(std::uint32_t now);
  void ArmTimerFdLocked(std::uint32_t due, std::uint32_t now);
  void DisarmTimerFdLocked();
  void Shutdown();

  const int eventFd_;
  const int timerFd_;
  int epollFd_ = -1;  // owner thread; made by PollFd

  std::mutex mutex_;
  std::deque<Posted> posted_;
  std::vector<Timer> timers_;
  bool signalled_ = false;
  bool timerArmed_ = false;
  std::uint32_t armedDue_ = 0;

  // Owner thread only.
  std::vector<WindowHandle> windows_;
  bool quit_ = false;

  friend struct QueueHolder;
};

}  // namespace base::platform

#endif  // BASE_PLATFORM_POSIX_MESSAGE_QUEUE_POSIX_H_
