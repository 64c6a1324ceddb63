// CTimerDetail: the timer scheduler. Plain function timers in three interval
// classes, each on a platform timer of the window: a fast table on a 10 ms
// tick (intervals up to 180 ms), a slow table on 100 ms (up to 70,000 ms) and
// a long list on 2,000 ms (above). A timer's period runs from its last firing.
//
// Threading: everything here belongs to the thread that owns the window;
// nothing is locked. The queues of the base class are the exception.
#ifndef BASE_TIMER_TIMER_DETAIL_H_
#define BASE_TIMER_TIMER_DETAIL_H_

#include <cstdint>
#include <list>
#include <vector>

#include "timer/slot_table.h"
#include "timer/timer_base.h"

namespace base {

class CTimerDetail final : public CTimerBase {
 public:
  // Platform timer ids and their periods.
  static constexpr std::uintptr_t kTimerIdFast = 1024;
  static constexpr std::uintptr_t kTimerIdSlow = 1025;
  static constexpr std::uintptr_t kTimerIdLong = 1026;
  static constexpr std::uint32_t kFastPeriod = 10;
  static constexpr std::uint32_t kSlowPeriod = 100;
  static constexpr std::uint32_t kLongPeriod = 2000;

  // Bits of state().
  static constexpr std::uint32_t kStarted = 1;
  static constexpr std::uint32_t kFastArmed = 2;
  static constexpr std::uint32_t kSlowArmed = 4;
  static constexpr std::uint32_t kLongArmed = 8;

  CTimerDetail();
  ~CTimerDetail() override;

  std::int32_t OnTimer(std::uintptr_t id) override;
  void OnStart() override;

  // SetInterval (oneShot false) and SetTimeout (oneShot true).
  bool AddTimer(std::uint32_t milliseconds,
                SchedulerCallback callback,
                void* param,
                void* owner,
                bool oneShot);
  bool EraseTimer(SchedulerCallback callback, void* owner);

  std::uint32_t state() const { return state_; }
  const SlotTable& fastSlots() const { return fastSlots_; }
  const SlotTable& slowSlots() const { return slowSlots_; }
  const std::vector<TimerRecord>& longTimers() const { return longTimers_; }
  std::size_t dueCount() const { return dueList_.size(); }

 private:
  bool AddToTable(SlotTable& table, const TimerRecord& record);
  bool AddLong(const TimerRecord& record);
  // Brings the platform timers into line with the containers; before the
  // start it only asks for the start.
  void ArmTimers();
  void ArmTimer(bool wanted, std::uint32_t armedBit, std::uintptr_t id, std::uint32_t period);
  void CollectTable(SlotTable& table, std::uint32_t now);
  void CollectLong(std::uint32_t now);

  std::uint32_t state_ = 0;
  SlotTable fastSlots_;
  SlotTable slowSlots_;
  std::vector<TimerRecord> longTimers_;
  // Copies of due records that have not been called yet.
  std::list<TimerRecord> dueList_;
  // Raised at every entry to OnTimer, so that a tick sees a nested one.
  std::uint32_t generation_ = 0;
};

}  // namespace base

#endif  // BASE_TIMER_TIMER_DETAIL_H_
