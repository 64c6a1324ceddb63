// Design note. Posted messages sit in a vector under one mutex; timers are a
// short vector of due ticks under the same mutex. A pass takes every waiting
// message in one go and delivers them without the mutex, so a burst costs a
// poster one lock per message and the owner one lock per pass. A timer
// message is never queued: when the owner has dispatched the messages that
// were waiting at the start of a pass, it looks for due timers and delivers
// each due one once, moving its due tick on. That gives "at most one pending
// per timer" for free, keeps timers behind waiting messages, and still lets
// timers through when other threads post without pause, since a pass takes
// only the messages that were waiting when it began.
//
// Nothing is held across a delivery, so a procedure may pump (a nested pass
// simply takes what is there, the rest of the outer pass's messages first),
// destroy its window or kill its own timer.
//
// The owner sleeps on a condition variable rather than on a descriptor: a
// post then costs what a plain mutex and condition-variable hand-off costs,
// and only the first post after the owner fell asleep wakes it.
// Descriptors are made only for a host that asks for one, and are kept in
// step at the end of every pass.
#include "platform/posix/message_queue_posix.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>

#include "platform/clock.h"

namespace base::platform {
namespace {

// Signed distance from `now` to `due`: positive while `due` lies ahead.
std::int32_t TicksUntil(std::uint32_t due, std::uint32_t now) {
  return static_cast<std::int32_t>(due - now);
}

}  // namespace

MessageQueue::~MessageQueue() {
  CloseFds();
}

bool MessageQueue::Post(Window& window,
                        std::uint32_t message,
                        std::uintptr_t wparam,
                        std::intptr_t lparam) {
  bool wake;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (window.closed.load(std::memory_order_relaxed))
      return false;
    posted_.push_back(Posted{&window, message, wparam, lparam});
    SignalFdLocked();
    wake = ownerWaiting_;
    ownerWaiting_ = false;
  }
  if (wake)
    wake_.notify_one();
  return true;
}

bool MessageQueue::SetTimer(Window& window, std::uintptr_t id, std::uint32_t periodMs) {
  const std::uint32_t period = std::max(periodMs, kMinimumTimerPeriod);
  bool wake;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (window.closed.load(std::memory_order_relaxed))
      return false;
    const std::uint32_t now = TickCount();
    auto it = std::find_if(timers_.begin(), timers_.end(),
                           [&](const Timer& t) { return t.window == &window && t.id == id; });
    if (it == timers_.end())
      timers_.push_back(Timer{&window, id, period, now + period});
    else
      *it = Timer{&window, id, period, now + period};
    ResyncFdsLocked(now);
    wake = ownerWaiting_;
    ownerWaiting_ = false;
  }
  // A waiting owner may be sleeping past the new due time.
  if (wake)
    wake_.notify_one();
  return true;
}

bool MessageQueue::KillTimer(const Window& window, std::uintptr_t id) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = std::find_if(timers_.begin(), timers_.end(),
                         [&](const Timer& t) { return t.window == &window && t.id == id; });
  if (it == timers_.end())
    return false;
  // A stale wake-up that this leaves armed finds nothing and costs one pass.
  timers_.erase(it);
  return true;
}

void MessageQueue::Close(Window& window) {
  std::lock_guard<std::mutex> lock(mutex_);
  window.closed.store(true, std::memory_order_release);
  const auto forWindow = [&](const Posted& p) { return p.window == &window; };
  posted_.erase(std::remove_if(posted_.begin(), posted_.end(), forWindow), posted_.end());
  // Close runs on the owner thread, to which taken_ belongs.
  taken_.erase(std::remove_if(taken_.begin() + static_cast<std::ptrdiff_t>(takenNext_),
                              taken_.end(), forWindow),
               taken_.end());
  timers_.erase(std::remove_if(timers_.begin(), timers_.end(),
                               [&](const Timer& t) { return t.window == &window; }),
                timers_.end());
}

void MessageQueue::AddWindow(WindowHandle window) {
  windows_.push_back(window);
}

void MessageQueue::RemoveWindow(WindowHandle window) {
  windows_.erase(std::remove(windows_.begin(), windows_.end(), window), windows_.end());
}

// Leaves the queue and the descriptors true however a pass ends, a procedure
// that throws included: what the pass took and did not deliver is queued
// again, and a host that waits on PollFd must not miss what stays.
class MessageQueue::ResyncOnExit {
 public:
  explicit ResyncOnExit(MessageQueue& queue) : queue_(queue) {}
  ResyncOnExit(const ResyncOnExit&) = delete;
  ResyncOnExit& operator=(const ResyncOnExit&) = delete;
  ~ResyncOnExit() {
    queue_.ReturnTaken();
    // Only the owner writes the descriptors, and this is the owner.
    if (queue_.eventFd_ < 0)
      return;
    std::lock_guard<std::mutex> lock(queue_.mutex_);
    queue_.ResyncFdsLocked(TickCount());
  }

 private:
  MessageQueue& queue_;
};

unsigned MessageQueue::DispatchPending(bool stopAtQuit) {
  bool anyTimer = false;
  std::size_t batch = TakePosted(anyTimer);
  ResyncOnExit resync(*this);
  unsigned delivered = 0;
  // A nested pass delivers the rest of this batch, or queues it again, and
  // PopTaken runs dry; the count still bounds the pass.
  for (Posted m{}; batch > 0 && PopTaken(m); --batch) {
    m.window->procedure(m.window->handle, m.message, m.wparam, m.lparam);
    ++delivered;
    if (stopAtQuit && quit_)
      return delivered;
  }
  // A timer set during the pass is at least a minimum period away from due,
  // so a pass that began without timers has none to deliver.
  if (!anyTimer)
    return delivered;
  // One reading of the tick for the whole pass: each timer moves its due tick
  // past it when delivered, so no timer is delivered twice in one pass.
  const std::uint32_t now = TickCount();
  Window* window = nullptr;
  std::uintptr_t id = 0;
  while (PopDueTimer(now, window, id)) {
    window->procedure(window->handle, kMessageTimer, id, 0);
    ++delivered;
    if (stopAtQuit && quit_)
      return delivered;
  }
  return delivered;
}

std::size_t MessageQueue::TakePosted(bool& anyTimer) {
  std::lock_guard<std::mutex> lock(mutex_);
  anyTimer = !timers_.empty();
  if (takenNext_ == taken_.size()) {
    taken_.clear();
    takenNext_ = 0;
    taken_.swap(posted_);
  } else {
    taken_.insert(taken_.end(), posted_.begin(), posted_.end());
    posted_.clear();
  }
  return taken_.size() - takenNext_;
}

bool MessageQueue::PopTaken(Posted& out) {
  if (takenNext_ == taken_.size())
    return false;
  out = taken_[takenNext_++];
  return true;
}

void MessageQueue::ReturnTaken() {
  if (takenNext_ == taken_.size())
    return;
  std::lock_guard<std::mutex> lock(mutex_);
  posted_.insert(posted_.begin(), taken_.begin() + static_cast<std::ptrdiff_t>(takenNext_),
                 taken_.end());
  taken_.clear();
  takenNext_ = 0;
}

bool MessageQueue::PopDueTimer(std::uint32_t now, Window*& window, std::uintptr_t& id) {
  std::lock_guard<std::mutex> lock(mutex_);
  Timer* mostLate = nullptr;
  for (Timer& t : timers_) {
    if (TicksUntil(t.due, now) <= 0 &&
        (!mostLate || TicksUntil(t.due, now) < TicksUntil(mostLate->due, now))) {
      mostLate = &t;
    }
  }
  if (!mostLate)
    return false;
  // Keep the phase when on time; periods missed altogether fold into this one.
  mostLate->due += mostLate->period;
  if (TicksUntil(mostLate->due, now) <= 0)
    mostLate->due = now + mostLate->period;
  window = mostLate->window;
  id = mostLate->id;
  return true;
}

bool MessageQueue::WaitForWork(std::uint32_t timeoutMs) {
  using Clock = std::chrono::steady_clock;
  const bool limited = timeoutMs != UINT32_MAX;
  const Clock::time_point deadline =
      limited ? Clock::now() + std::chrono::milliseconds(timeoutMs) : Clock::time_point::max();
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    const std::uint32_t now = TickCount();
    // Taken and not delivered: a procedure pumps inside a pass.
    if (takenNext_ != taken_.size() || PendingLocked(now))
      return true;
    if (limited && Clock::now() >= deadline)
      return false;
    const Timer* next = NextTimerLocked(now);
    ownerWaiting_ = true;
    if (!next && !limited) {
      wake_.wait(lock);
    } else {
      // A timer due in n ticks is due once n real milliseconds have passed.
      Clock::time_point until = limited ? deadline : Clock::time_point::max();
      if (next)
        until =
            std::min(until, Clock::now() + std::chrono::milliseconds(TicksUntil(next->due, now)));
      wake_.wait_until(lock, until);
    }
    ownerWaiting_ = false;
  }
}

bool MessageQueue::TakeQuit() {
  const bool asked = quit_;
  quit_ = false;
  return asked;
}

int MessageQueue::PollFd() {
  if (epollFd_ >= 0)
    return epollFd_;
  const int eventFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  const int timerFd = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
  const int epollFd = epoll_create1(EPOLL_CLOEXEC);
  std::lock_guard<std::mutex> lock(mutex_);
  eventFd_ = eventFd;
  timerFd_ = timerFd;
  epollFd_ = epollFd;
  epoll_event ev{};
  ev.events = EPOLLIN;
  if (eventFd < 0 || timerFd < 0 || epollFd < 0 ||
      epoll_ctl(epollFd, EPOLL_CTL_ADD, eventFd, &ev) != 0 ||
      epoll_ctl(epollFd, EPOLL_CTL_ADD, timerFd, &ev) != 0) {
    CloseFds();
    return -1;
  }
  ResyncFdsLocked(TickCount());
  return epollFd_;
}

bool MessageQueue::PendingLocked(std::uint32_t now) const {
  if (!posted_.empty())
    return true;
  return std::any_of(timers_.begin(), timers_.end(),
                     [now](const Timer& t) { return TicksUntil(t.due, now) <= 0; });
}

const MessageQueue::Timer* MessageQueue::NextTimerLocked(std::uint32_t now) const {
  const Timer* next = nullptr;
  for (const Timer& t : timers_) {
    if (!next || TicksUntil(t.due, now) < TicksUntil(next->due, now))
      next = &t;
  }
  return next;
}

void MessageQueue::ResyncFdsLocked(std::uint32_t now) {
  if (eventFd_ < 0)
    return;
  std::uint64_t count;
  if (timerArmed_ && read(timerFd_, &count, sizeof count) == sizeof count)
    timerArmed_ = false;  // expired; it is armed again below if still needed
  if (PendingLocked(now)) {
    SignalFdLocked();
  } else if (signalled_) {
    [[maybe_unused]] const ssize_t got = read(eventFd_, &count, sizeof count);
    signalled_ = false;
  }
  // A timer already due keeps the eventfd signalled; the timerfd is for the
  // first one still ahead, and the pass that delivers the due one re-arms it.
  const Timer* next = NextTimerLocked(now);
  if (!next) {
    if (timerArmed_)
      DisarmTimerFdLocked();
  } else if (TicksUntil(next->due, now) > 0 && (!timerArmed_ || armedDue_ != next->due)) {
    ArmTimerFdLocked(next->due, now);
  }
}

void MessageQueue::SignalFdLocked() {
  if (eventFd_ < 0 || signalled_)
    return;
  const std::uint64_t one = 1;
  // Cannot fail short of a counter overflow, which one pending write rules out.
  [[maybe_unused]] const ssize_t written = write(eventFd_, &one, sizeof one);
  signalled_ = true;
}

void MessageQueue::ArmTimerFdLocked(std::uint32_t due, std::uint32_t now) {
  // The timerfd runs on the real clock while due ticks may be shifted; it only
  // wakes the owner, who then judges on the tick, so early or late is harmless.
  const std::uint32_t ms = due - now;
  itimerspec expiry{};
  expiry.it_value.tv_sec = ms / 1000;
  expiry.it_value.tv_nsec = static_cast<long>(ms % 1000) * 1000000L;
  timerfd_settime(timerFd_, 0, &expiry, nullptr);
  timerArmed_ = true;
  armedDue_ = due;
}

void MessageQueue::DisarmTimerFdLocked() {
  const itimerspec disarmed{};
  timerfd_settime(timerFd_, 0, &disarmed, nullptr);
  timerArmed_ = false;
}

void MessageQueue::CloseFds() {
  for (int* fd : {&epollFd_, &timerFd_, &eventFd_}) {
    if (*fd >= 0)
      close(*fd);
    *fd = -1;
  }
  signalled_ = false;
  timerArmed_ = false;
}

void MessageQueue::Shutdown() {
  std::lock_guard<std::mutex> lock(mutex_);
  posted_.clear();
  taken_.clear();
  takenNext_ = 0;
  timers_.clear();
  CloseFds();
}

}  // namespace base::platform
