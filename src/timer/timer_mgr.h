// TimerMgr: the manager behind SetTimeCallback and KillTimeCallback.
//
// Delegates are filed as records ordered by due tick, and all of them hang on
// one 10 ms window timer of a hidden window owned by the thread that made the
// manager. Each timer message runs what is due, in order, for at most 10 ms;
// a repeating record keeps its phase (each due tick is the last plus the
// period) and makes up the periods it missed.
//
// Threading: SetCallback and KillCallback from any thread once the manager
// exists; OnTick on the owner thread only, from its window. `mutex` guards
// the containers and every write of `running` and `nextDueTick`; no delegate
// runs under it. The trap: a record's delegate is dropped under `mutex` when
// the record is replaced, killed or found invalid, so a MethodTarget
// destructor that sets or kills a callback timer deadlocks.
#ifndef BASE_TIMER_TIMER_MGR_H_
#define BASE_TIMER_TIMER_MGR_H_

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include <boost/thread/mutex.hpp>

#include "base/method.h"
#include "check/owned_mutex.h"
#include "lifecycle/singleton.h"
#include "platform/message_window.h"
#include "timer/time_record_queue.h"
#include "timer/timer_id_table.h"

namespace base {

class TimerMgr final : public Singlton<TimerMgr> {
 public:
  static constexpr std::uintptr_t kTimerId = 1024;  // TIMER_ID_CALLBACK
  static constexpr std::uint32_t kTimerPeriodMs = 10;
  // A dispatch stops taking records once it has run this long.
  static constexpr std::uint32_t kDispatchBudgetMs = 10;
  // A repeating record further behind than this is put behind all that are due.
  static constexpr std::uint32_t kMaxLagMs = 100;
  // The most one-shots without an id that one hold of the lock takes out.
  static constexpr std::size_t kTakenMax = 64;

  // Makes the hidden window on the calling thread, which from then on runs
  // every delegate. Arms nothing.
  TimerMgr();
  // Destroys the window, then drops every record without running it.
  ~TimerMgr() override;

  // All teardown is in the destructor.
  void Init() override {}
  void FInit() override {}

  // Files `method` to run in |milliseconds| ms: once if milliseconds >= 0,
  // else repeatedly with period -milliseconds. A non-zero `id` replaces the
  // record filed under it. An empty or invalid delegate cancels `id` instead;
  // one that NeedsId() is ignored without an id.
  void SetCallback(std::int32_t milliseconds, const Method<void()>& method, std::uint32_t id);

  // Cancels the record filed under `id`. False if there is none, which
  // includes a one-shot that has begun to run.
  bool KillCallback(std::uint32_t id);

  // The timer message: runs what is due. Takes no lock when nothing is.
  void OnTick();

 private:
  // Under `mutex`: takes the front record if it is due and valid, moving a
  // repeating one on, and hands its delegate over in `held`. False when
  // nothing is due (`held` may then hold an invalid delegate).
  bool TakeDueLocked(std::uint32_t now, Method<void()>& held);
  // Under `mutex`: takes the due one-shots without an id that follow at the
  // front into `taken`, unless one of `taken` is running.
  void TakeIdlessLocked(std::uint32_t now);
  // Runs the next of `taken` and drops its delegate, outside the lock.
  void RunNextTaken();
  void RemoveLocked(TimeRecordQueue::Slot slot);
  void NoteIfFrontLocked(TimeRecordQueue::Slot slot);
  void StopIfEmptyLocked();

  TimeRecordQueue records_;
  TimerIdTable ids_;
  std::uint32_t nextSequence_ = 0;
  // The required lock: boost::mutex, not std::mutex, whose failures callers
  // would see as other exceptions (docs/frozen-names.md).
  internal::OwnedMutex<boost::mutex> mutex_;
  platform::WindowHandle window_ = nullptr;
  // Read without `mutex` by OnTick: a stale value only delays a run to the
  // next tick or costs one more pass under the lock.
  std::atomic<std::uint32_t> running_{0};
  std::atomic<std::uint32_t> nextDueTick_{0};

  // Due one-shots without an id, taken out of `records` in due order to run
  // without a lock each. Nothing can kill or replace such a record, so no
  // other thread needs to see them: they belong to the owner thread, and a
  // dispatch, nested or next, runs what is left of them before anything
  // else. `takenHeld` (under `mutex`) keeps the platform timer armed while
  // some are left, after a throw or at the end of a budget.
  std::array<Method<void()>, kTakenMax> taken_;
  std::size_t takenNext_ = 0;
  std::size_t takenEnd_ = 0;
  unsigned takenRunning_ = 0;  // runs of `taken` in progress, nested ones included
  bool takenHeld_ = false;
};

}  // namespace base

#endif  // BASE_TIMER_TIMER_MGR_H_
