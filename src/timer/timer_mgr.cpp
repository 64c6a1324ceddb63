#include "timer/timer_mgr.h"

#include <boost/thread/lock_guard.hpp>
#include <tuple>

#include "platform/clock.h"

namespace base {
namespace {

constexpr wchar_t kClassName[] = L"@#$^MTimer_Class@#$^";
constexpr wchar_t kWindowName[] = L"Timer Helper Window";

using Lock = boost::lock_guard<internal::OwnedMutex<boost::mutex>>;

// Signed distance from `earlier` to `later` on the wrapping tick.
std::int32_t TicksBetween(std::uint32_t earlier, std::uint32_t later) {
  return static_cast<std::int32_t>(later - earlier);
}

// Less than a period since dueTick - period: not due. That tick lies in the
// past for every record, so the test holds across the wrap, and a period of 0
// is always due.
bool IsDue(const TimeRecord& record, std::uint32_t now) {
  return record.period - record.dueTick + now >= record.period;
}

// Any timer message, whatever its id, is a tick of the one manager.
std::intptr_t BASE_WINDOW_CALL TimerWindowProcedure(platform::WindowHandle window,
                                                    std::uint32_t message,
                                                    std::uintptr_t wparam,
                                                    std::intptr_t lparam) {
  if (message != platform::kMessageTimer)
    return platform::DefaultWindowProcedure(window, message, wparam, lparam);
  if (TimerMgr* manager = TimerMgr::Instance())
    manager->OnTick();
  return 1;
}

}  // namespace

TimerMgr::TimerMgr() {
  // A second registration fails and leaves the first, which is the same.
  platform::RegisterWindowClass(kClassName, &TimerWindowProcedure);
  window_ = platform::CreateMessageWindow(kClassName, kWindowName, this);
}

TimerMgr::~TimerMgr() {
  // Destroying the window ends its timer. Only the owner thread can; if the
  // exit sequence runs elsewhere, at least no timer message must reach the
  // manager once it is gone.
  if (!platform::DestroyMessageWindow(window_))
    std::ignore = platform::KillWindowTimer(window_, kTimerId);  // false: it was not armed
}

void TimerMgr::SetCallback(std::int32_t milliseconds,
                           const Method<void()>& method,
                           std::uint32_t id) {
  if (!method.IsValid()) {
    KillCallback(id);
    return;
  }
  if (id == 0 && method.NeedsId())
    return;
  // Negation in unsigned arithmetic: INT32_MIN gives a period of 2^31.
  const bool repeat = milliseconds < 0;
  const std::uint32_t magnitude = static_cast<std::uint32_t>(milliseconds);
  const std::uint32_t period = repeat ? 0u - magnitude : magnitude;
  TimeRecord record;
  record.period = period;
  record.id = id;
  record.dueTick = platform::TickCount() + period;
  record.repeat = repeat ? 1 : 0;
  record.method = method;

  const Lock lock(mutex_);
  const std::uint32_t sequence = nextSequence_++;
  TimeRecordQueue::Slot slot = ids_.Find(id);
  if (slot != TimerIdTable::kAbsent) {
    // The new record takes the old one's place in the slab and its id entry;
    // the old delegate goes here, under the lock.
    records_[slot] = record;
    records_.Reorder(slot, record.dueTick, sequence);
  } else {
    if (id != 0)
      ids_.Reserve(ids_.Size() + 1);
    slot = records_.Insert(record, record.dueTick, sequence);
    if (id != 0)
      ids_.Insert(id, slot);
  }
  NoteIfFrontLocked(slot);
  if (running_.load(std::memory_order_relaxed) == 0) {
    // Timer results are not looked at: a timer that cannot be armed has no
    // fallback here.
    std::ignore = platform::SetWindowTimer(window_, kTimerId, kTimerPeriodMs);
    running_.store(1, std::memory_order_relaxed);
  }
}

bool TimerMgr::KillCallback(std::uint32_t id) {
  if (id == 0)
    return false;
  const Lock lock(mutex_);
  const std::uint32_t slot = ids_.Find(id);
  if (slot == TimerIdTable::kAbsent)
    return false;
  RemoveLocked(slot);
  StopIfEmptyLocked();
  return true;
}

void TimerMgr::OnTick() {
  const std::uint32_t now = platform::TickCount();
  // The idle test: no lock, one subtraction. A record due exactly now waits
  // for the next tick.
  if (takenNext_ == takenEnd_ &&
      TicksBetween(nextDueTick_.load(std::memory_order_relaxed), now) <= 0)
    return;
  while (running_.load(std::memory_order_relaxed) != 0) {
    if (takenNext_ != takenEnd_) {
      RunNextTaken();
    } else {
      Method<void()> held;
      {
        const Lock lock(mutex_);
        if (!TakeDueLocked(now, held))
          return;
      }
      // Nothing of the records is kept across the unlock but `held` and
      // `taken`: the delegate may set, kill, or pump messages into a nested
      // dispatch. Its copy is dropped at the end of this pass, outside the
      // lock.
      held.Run();
    }
    if (platform::TickCount() - now >= kDispatchBudgetMs)
      return;
  }
}

void TimerMgr::RunNextTaken() {
  // A nested dispatch may run the rest of `taken`, but never refills it while
  // this run is in progress, so `entry` stays put.
  class DropAfterRun {
   public:
    DropAfterRun(Method<void()>& entry, unsigned& running) : entry_(entry), running_(running) {
      ++running_;
    }
    DropAfterRun(const DropAfterRun&) = delete;
    DropAfterRun& operator=(const DropAfterRun&) = delete;
    ~DropAfterRun() {
      --running_;
      entry_ = Method<void()>();
    }

   private:
    Method<void()>& entry_;
    unsigned& running_;
  };
  Method<void()>& entry = taken_[takenNext_++];
  const DropAfterRun drop(entry, takenRunning_);
  entry.Run();
}

bool TimerMgr::TakeDueLocked(std::uint32_t now, Method<void()>& held) {
  mutex_.AssertHeld();
  // Only called once `taken` has run dry.
  takenHeld_ = false;
  TimeRecordQueue::Slot slot;
  for (;;) {
    if (records_.Empty()) {
      StopIfEmptyLocked();
      return false;
    }
    slot = records_.Front();
    const TimeRecord& first = records_[slot];
    if (!IsDue(first, now)) {
      nextDueTick_.store(first.dueTick, std::memory_order_relaxed);
      return false;
    }
    held = first.method;
    if (held.IsValid())
      break;
    RemoveLocked(slot);
  }
  TimeRecord& taken = records_[slot];
  if (taken.repeat == 0) {
    const bool idless = taken.id == 0;
    RemoveLocked(slot);
    if (idless)
      TakeIdlessLocked(now);
    StopIfEmptyLocked();
    return true;
  }
  // Keep the phase from the last due tick, not from now. Far behind, queue
  // up behind everything already due instead of holding it up.
  taken.dueTick += taken.period;
  const bool farBehind = static_cast<std::int32_t>(now - taken.dueTick - kMaxLagMs) > 0;
  const std::uint32_t sortTick = farBehind ? now + 1 : taken.dueTick;
  records_.Reorder(slot, sortTick, records_.SequenceOf(slot));
  NoteIfFrontLocked(slot);
  return true;
}

void TimerMgr::TakeIdlessLocked(std::uint32_t now) {
  mutex_.AssertHeld();
  if (takenRunning_ != 0)
    return;
  takenNext_ = takenEnd_ = 0;
  while (takenEnd_ < kTakenMax && !records_.Empty()) {
    const TimeRecordQueue::Slot slot = records_.Front();
    const TimeRecord& first = records_[slot];
    if (!IsDue(first, now) || first.repeat != 0 || first.id != 0)
      break;
    // An invalid one is dropped here, as it would be at the front.
    if (first.method.IsValid())
      taken_[takenEnd_++] = first.method;
    RemoveLocked(slot);
  }
  takenHeld_ = takenEnd_ != 0;
}

void TimerMgr::RemoveLocked(TimeRecordQueue::Slot slot) {
  mutex_.AssertHeld();
  const std::uint32_t id = records_[slot].id;
  if (id != 0)
    ids_.Erase(id);
  records_.Remove(slot);
}

void TimerMgr::NoteIfFrontLocked(TimeRecordQueue::Slot slot) {
  mutex_.AssertHeld();
  if (records_.Front() == slot)
    nextDueTick_.store(records_[slot].dueTick, std::memory_order_relaxed);
}

void TimerMgr::StopIfEmptyLocked() {
  mutex_.AssertHeld();
  if (records_.Empty() && !takenHeld_ && running_.load(std::memory_order_relaxed) != 0) {
    std::ignore = platform::KillWindowTimer(window_, kTimerId);  // a timer that is gone is stopped
    running_.store(0, std::memory_order_relaxed);
  }
}

}  // namespace base
