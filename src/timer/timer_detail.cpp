#include "timer/timer_detail.h"

#include <algorithm>
#include <tuple>

#include "platform/clock.h"

namespace base {
namespace {

constexpr std::uint32_t kZeroIntervalMs = 100;
constexpr std::uint32_t kFastLimitMs = 180;
constexpr std::uint32_t kSlowLimitMs = 70000;

bool IsDue(const TimerRecord& record, std::uint32_t now) {
  // Unsigned 32-bit difference: right across the wrap of the tick.
  return now - record.lastTick >= record.interval;
}

bool Matches(const TimerRecord& record, SchedulerCallback callback, void* owner) {
  return record.callback == callback && (!owner || record.owner == owner);
}

}  // namespace

CTimerDetail::CTimerDetail() = default;

// Timers and waiting copies go uncalled; the window goes with the base, and
// the platform timers with it.
CTimerDetail::~CTimerDetail() = default;

bool CTimerDetail::AddTimer(std::uint32_t milliseconds,
                            SchedulerCallback callback,
                            void* param,
                            void* owner,
                            bool oneShot) {
  if (!callback)
    return false;
  TimerRecord record{callback,
                     param,
                     owner,
                     milliseconds,
                     platform::TickCount(),
                     1,
                     static_cast<std::uint8_t>(oneShot ? 1 : 0)};
  if (milliseconds == 0)
    record.interval = kZeroIntervalMs;
  if (record.interval <= kFastLimitMs)
    return AddToTable(fastSlots_, record);
  if (record.interval <= kSlowLimitMs)
    return AddToTable(slowSlots_, record);
  return AddLong(record);
}

bool CTimerDetail::AddToTable(SlotTable& table, const TimerRecord& record) {
  // Room is made first, so a refused add may still have grown or compacted.
  if (!table.EnsureCapacity() || !table.Add(record))
    return false;
  ArmTimers();
  return true;
}

bool CTimerDetail::AddLong(const TimerRecord& record) {
  const bool duplicate =
      std::any_of(longTimers_.begin(), longTimers_.end(), [&record](const TimerRecord& timer) {
        return timer.callback == record.callback && (!record.owner || timer.owner == record.owner);
      });
  if (duplicate)
    return false;
  longTimers_.push_back(record);
  ArmTimers();
  return true;
}

bool CTimerDetail::EraseTimer(SchedulerCallback callback, void* owner) {
  bool erased = fastSlots_.EraseMatching(callback, owner);
  erased = slowSlots_.EraseMatching(callback, owner) || erased;
  const auto kept =
      std::remove_if(longTimers_.begin(), longTimers_.end(),
                     [&](const TimerRecord& timer) { return Matches(timer, callback, owner); });
  erased = erased || kept != longTimers_.end();
  longTimers_.erase(kept, longTimers_.end());
  // Collected copies stay in the list, silenced; that alone is no success.
  for (TimerRecord& due : dueList_) {
    if (Matches(due, callback, owner))
      due.active = 0;
  }
  ArmTimers();
  return erased;
}

void CTimerDetail::ArmTimers() {
  if (!(state_ & kStarted)) {
    // Nothing runs before the loop turns: the start message arms, and the
    // periods of all timers added so far count from it.
    MakeWindow();
    // Fails only for a window that is gone, which no message could reach.
    std::ignore = platform::PostWindowMessage(window(), kMessageStartTimers, 0, 0);
    return;
  }
  ArmTimer(fastSlots_.count() != 0, kFastArmed, kTimerIdFast, kFastPeriod);
  ArmTimer(slowSlots_.count() != 0, kSlowArmed, kTimerIdSlow, kSlowPeriod);
  ArmTimer(!longTimers_.empty(), kLongArmed, kTimerIdLong, kLongPeriod);
}

void CTimerDetail::ArmTimer(bool wanted,
                            std::uint32_t armedBit,
                            std::uintptr_t id,
                            std::uint32_t period) {
  if (wanted == ((state_ & armedBit) != 0))
    return;
  // Timer results are not looked at: a timer that cannot be armed has no
  // fallback, and one that is gone is stopped.
  if (wanted) {
    std::ignore = platform::SetWindowTimer(window(), id, period);
    state_ |= armedBit;
  } else {
    std::ignore = platform::KillWindowTimer(window(), id);
    state_ &= ~armedBit;
  }
}

void CTimerDetail::OnStart() {
  if (state_ & kStarted)
    return;
  state_ |= kStarted;
  const std::uint32_t now = platform::TickCount();
  fastSlots_.ForEachLive([&](std::uint32_t slot) { fastSlots_.record(slot).lastTick = now; });
  slowSlots_.ForEachLive([&](std::uint32_t slot) { slowSlots_.record(slot).lastTick = now; });
  for (TimerRecord& timer : longTimers_)
    timer.lastTick = now;
  ArmTimers();
}

std::int32_t CTimerDetail::OnTimer(std::uintptr_t id) {
  const std::uint32_t mine = ++generation_;
  const std::uint32_t now = platform::TickCount();
  switch (id) {
    case kTimerIdFast:
      CollectTable(fastSlots_, now);
      break;
    case kTimerIdSlow:
      CollectTable(slowSlots_, now);
      break;
    case kTimerIdLong:
      CollectLong(now);
      break;
    default:
      return 1;
  }
  // Every due record was copied out before the first call, so callbacks may
  // add, erase, grow and compact freely. A callback that pumps messages can
  // start a nested tick, which drains the whole list, ours included; this one
  // then stops, and no copy is called twice.
  while (!dueList_.empty()) {
    const TimerRecord due = dueList_.front();
    dueList_.pop_front();
    if (due.active)
      due.callback(due.owner, due.param);
    if (generation_ != mine)
      return 1;
  }
  return 1;
}

void CTimerDetail::CollectTable(SlotTable& table, std::uint32_t now) {
  table.ForEachLive([&](std::uint32_t slot) {
    TimerRecord& timer = table.record(slot);
    if (!IsDue(timer, now))
      return;
    timer.lastTick = now;
    dueList_.push_back(timer);
    // A one-shot leaves its slot before it is called, so its callback can set
    // it again.
    if (timer.oneShot)
      table.Free(slot);
  });
}

void CTimerDetail::CollectLong(std::uint32_t now) {
  for (auto it = longTimers_.begin(); it != longTimers_.end();) {
    if (!IsDue(*it, now)) {
      ++it;
      continue;
    }
    dueList_.push_back(*it);
    it->lastTick = now;
    it = it->oneShot ? longTimers_.erase(it) : it + 1;
  }
}

}  // namespace base
