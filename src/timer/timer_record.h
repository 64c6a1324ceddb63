// The records of the timer scheduler and of its idle and async queues. Both
// are plain values, copied wherever they go.
#ifndef BASE_TIMER_TIMER_RECORD_H_
#define BASE_TIMER_TIMER_RECORD_H_

#include <cstdint>

#include "base/timer.h"

namespace base {

// One scheduler timer. It is named by (callback, owner); owner 0 means none.
struct TimerRecord {
  SchedulerCallback callback;  // null once the record has left its slot
  void* param;
  void* owner;
  std::uint32_t interval;  // milliseconds between firings
  std::uint32_t lastTick;  // start of the period now running
  std::uint8_t active;     // cleared only in a dueList copy, by an erase
  std::uint8_t oneShot;
};

// One waiting idle or async callback.
struct CallbackRecord {
  SchedulerCallback callback;  // never null in a queue
  void* param;
  void* owner;
};

}  // namespace base

#endif  // BASE_TIMER_TIMER_RECORD_H_
