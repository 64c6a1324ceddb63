// The per-thread message queue behind the posix message windows, and the
// window record it delivers to. Internal to the posix backend.
#ifndef BASE_PLATFORM_POSIX_MESSAGE_QUEUE_POSIX_H_
#define BASE_PLATFORM_POSIX_MESSAGE_QUEUE_POSIX_H_

#include <atomic>
#include <condition_variable>
#include <cstdint>
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
  // Set under the queue's mutex once the window is gone; from then on posts
  // and timers are refused and nothing more is delivered to it. Readable
  // without the mutex by lookups that must not hand out a gone window.
  std::atomic<bool> closed{false};
};

// One per thread that owns windows or pumps. Posting and timers may come from
// any thread; dispatching and waiting belong to the owner thread.
//
// Wake-up: the owner waits on a condition variable, with the time to the
// earliest timer as its limit; posters and timer setters notify it only while
// it waits. Descriptors exist only once a host asks for one (PollFd): then an
// eventfd is kept signalled while work is pending and a timerfd is armed for
// the earliest timer, both under one epoll descriptor. Due times are ticks,
// so a shifted tick is seen at the next check; the real clock only decides
// when the owner wakes up to look.
//
// The calling thread's queue is found through message_thread_posix.h.
class MessageQueue : public std::enable_shared_from_this<MessageQueue> {
 public:
  MessageQueue() = default;
  MessageQueue(const MessageQueue&) = delete;
  MessageQueue& operator=(const MessageQueue&) = delete;
  ~MessageQueue();

  // Any thread, with `window` one of this queue's. False once the window is
  // closed. The queue keeps plain pointers to its windows: Close removes
  // every one of them before a window can be freed.
  bool Post(Window& window, std::uint32_t message, std::uintptr_t wparam, std::intptr_t lparam);
  bool SetTimer(Window& window, std::uintptr_t id, std::uint32_t periodMs);
  bool KillTimer(const Window& window, std::uintptr_t id);

  // Owner thread. Marks the window closed and drops its messages and timers.
  void Close(Window& window);
  void AddWindow(WindowHandle window);
  void RemoveWindow(WindowHandle window);
  // Owner thread. The live windows, the newest last.
  const std::vector<WindowHandle>& windows() const { return windows_; }
  // Owner thread, once its windows are destroyed: drops what is queued and
  // the descriptors. Other threads may still hold the queue through window
  // records; they find those windows closed.
  void Shutdown();

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
  // Owner thread. The descriptor for hosts' loops, made at the first call;
  // -1 if the system gives none.
  int PollFd();

 private:
  struct Posted {
    Window* window;
    std::uint32_t message;
    std::uintptr_t wparam;
    std::intptr_t lparam;
  };
  struct Timer {
    Window* window;
    std::uintptr_t id;
    std::uint32_t period;
    std::uint32_t due;
  };
  class ResyncOnExit;

  // Owner thread. Moves what is posted behind what a pass took earlier and
  // has not delivered yet; returns how much is held now, and in `anyTimer`
  // whether a timer is set.
  std::size_t TakePosted(bool& anyTimer);
  bool PopTaken(Posted& out);
  // Owner thread, at the end of a pass: what it took and did not deliver goes
  // back to the front of the queue, where waits and descriptors see it.
  void ReturnTaken();
  bool PopDueTimer(std::uint32_t now, Window*& window, std::uintptr_t& id);
  // All *Locked members run with mutex_ held.
  bool PendingLocked(std::uint32_t now) const;
  // The timer due first, or null.
  const Timer* NextTimerLocked(std::uint32_t now) const;
  // Makes the descriptors, if any, tell the truth: the eventfd signalled
  // exactly while work is pending, the timerfd armed for the first timer that
  // is not due yet.
  void ResyncFdsLocked(std::uint32_t now);
  void SignalFdLocked();
  void ArmTimerFdLocked(std::uint32_t due, std::uint32_t now);
  void DisarmTimerFdLocked();
  void CloseFds();

  std::mutex mutex_;
  std::condition_variable wake_;
  std::vector<Posted> posted_;
  std::vector<Timer> timers_;
  // True while the owner waits and no one has woken it yet: one wake-up per
  // sleep, however many posts arrive before it runs.
  bool ownerWaiting_ = false;
  // Descriptors, -1 until PollFd; written under mutex_.
  int eventFd_ = -1;
  int timerFd_ = -1;
  int epollFd_ = -1;
  bool signalled_ = false;
  bool timerArmed_ = false;
  std::uint32_t armedDue_ = 0;

  // Owner thread only. The messages a pass took in one go, delivered from
  // `takenNext_` on without the mutex; the two vectors trade buffers, so a
  // steady stream allocates nothing.
  std::vector<Posted> taken_;
  std::size_t takenNext_ = 0;
  std::vector<WindowHandle> windows_;
  bool quit_ = false;
};

}  // namespace base::platform

#endif  // BASE_PLATFORM_POSIX_MESSAGE_QUEUE_POSIX_H_
