// The run of a task on a pool thread and the end of a task's life.
//
// Who holds a reference: the worker, from AddTask to the last step of
// RunThreadTask, and every non-empty ThreadTaskPtr. The list of tasks and the
// map of current tasks hold none. Whoever drops the last reference frees the
// task on its own thread.
#ifndef BASE_THREAD_TASK_LIFECYCLE_H_
#define BASE_THREAD_TASK_LIFECYCLE_H_

#include <cstdint>

namespace OrvThread {

class ThreadTask;

// The work item of a task: enters the task in the map of current tasks, runs
// it, signals its end, leaves the map and drops the worker's reference, in
// that order, also when an exception other than TaskInterrupted unwinds the
// run. `task` is a ThreadTask*. Returns 0.
std::uint32_t RunThreadTask(void* task);

// Runs the task; an interruption that the task lets out ends the run quietly.
void RunGuarded(ThreadTask* task);

// Signals the end of the calling thread's current task, if it has one.
void NotifyTaskFinished();

// Drops one reference; the last one takes the task off the list and frees it.
void ReleaseTask(ThreadTask* task);

}  // namespace OrvThread

#endif  // BASE_THREAD_TASK_LIFECYCLE_H_
