// The list of launched tasks: launch order, one entry per task at most, and
// removal in constant time, however long the list. The links live in the task
// itself, so listing a task allocates nothing.
//
// Threading: none of its own; ThreadManagement guards it with `tasksLock`.
#ifndef BASE_THREAD_TASK_LIST_H_
#define BASE_THREAD_TASK_LIST_H_

#include "base/thread_task.h"

namespace OrvThread {

// A task as PostThreadTask makes it: the task and its place in the list. Every
// ThreadTask of the library is one of these, which is what lets the list find
// the links of a ThreadTask* without a search.
class ListedTask final : public ThreadTask {
 public:
  using ThreadTask::ThreadTask;

 private:
  friend class TaskList;
  ListedTask* prev_ = nullptr;
  ListedTask* next_ = nullptr;
  bool listed_ = false;
};

class TaskList {
 public:
  TaskList() = default;
  TaskList(const TaskList&) = delete;
  TaskList& operator=(const TaskList&) = delete;

  void PushBack(ThreadTask* task);
  // Takes `task` off the list; nothing happens if it is not listed.
  void Remove(ThreadTask* task);
  // Takes every task off the list. Linear, as it marks each one unlisted.
  void Clear();

  // Calls `visit(ThreadTask*)` on each task, front to back. `visit` must not
  // change the list.
  template <typename Visit>
  void ForEach(Visit visit) const {
    for (ListedTask* entry = head_; entry != nullptr; entry = entry->next_)
      visit(static_cast<ThreadTask*>(entry));
  }

 private:
  static ListedTask* EntryOf(ThreadTask* task) { return static_cast<ListedTask*>(task); }

  ListedTask* head_ = nullptr;
  ListedTask* tail_ = nullptr;
};

}  // namespace OrvThread

#endif  // BASE_THREAD_TASK_LIST_H_
