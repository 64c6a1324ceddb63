// The library's own view of a task's fields. Only src/thread uses it; modules
// reach a task through the exported members alone.
#ifndef BASE_THREAD_TASK_ACCESS_H_
#define BASE_THREAD_TASK_ACCESS_H_

#include <cstddef>

#include "base/thread_task.h"

namespace OrvThread::Detail {

struct TaskAccess {
  static volatile LONG* RefCount(ThreadTaskBase* task) { return &task->refCount; }
  static HANDLE InterruptionEvent(const ThreadTaskBase* task) { return task->interruptionEvent; }
  static HANDLE FinishedEvent(const ThreadTaskBase* task) { return task->finishedEvent; }
  static bool& InterruptionEnabled(ThreadTaskBase* task) { return task->interruptionEnabled; }
  static std::uint32_t Id(const ThreadTaskBase* task) { return task->id; }

  // Modules built apart from the library see these fields through the public
  // header: their order and width are fixed.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
#endif
  static_assert(offsetof(ThreadTaskBase, refCount) == sizeof(void*), "count after the vtable");
  static_assert(offsetof(ThreadTaskBase, interruptionEvent) == 2 * sizeof(void*),
                "the interruption event follows the count");
  static_assert(offsetof(ThreadTaskBase, finishedEvent) == 3 * sizeof(void*),
                "the finished event follows the interruption event");
  static_assert(offsetof(ThreadTaskBase, interruptionEnabled) == 4 * sizeof(void*),
                "the flag follows the events");
  static_assert(offsetof(ThreadTaskBase, id) == 4 * sizeof(void*) + 4, "the id comes last");
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
  static_assert(sizeof(LONG) == 4 && sizeof(bool) == 1, "a 32-bit count and a one-byte flag");
  static_assert(sizeof(wait_timeout) == 8, "a timeout is two 32-bit words");
};

}  // namespace OrvThread::Detail

#endif  // BASE_THREAD_TASK_ACCESS_H_
