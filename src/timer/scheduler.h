// The process's one scheduler object, made at first use.
//
// Threading: no lock. The first GetScheduler must have returned before a
// second thread calls it, and the thread that makes the object owns its
// window.
#ifndef BASE_TIMER_SCHEDULER_H_
#define BASE_TIMER_SCHEDULER_H_

#include "timer/timer_detail.h"

namespace base {

// The scheduler, made on the calling thread if there is none. Its end is put
// in the exit table before the object is made, so that a failed construction
// leaves an entry that finds nothing.
CTimerDetail* GetScheduler();

// The exit-table entry: deletes the scheduler, if any, and forgets it. The
// next GetScheduler makes a new one.
void DeleteScheduler();

}  // namespace base

#endif  // BASE_TIMER_SCHEDULER_H_
