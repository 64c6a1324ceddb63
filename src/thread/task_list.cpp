#include "thread/task_list.h"

namespace OrvThread {

void TaskList::PushBack(ThreadTask* task) {
  ListedTask* entry = EntryOf(task);
  entry->prev_ = tail_;
  entry->next_ = nullptr;
  (tail_ != nullptr ? tail_->next_ : head_) = entry;
  tail_ = entry;
  entry->listed_ = true;
}

void TaskList::Remove(ThreadTask* task) {
  ListedTask* entry = EntryOf(task);
  if (!entry->listed_)
    return;
  (entry->prev_ != nullptr ? entry->prev_->next_ : head_) = entry->next_;
  (entry->next_ != nullptr ? entry->next_->prev_ : tail_) = entry->prev_;
  entry->prev_ = entry->next_ = nullptr;
  entry->listed_ = false;
}

void TaskList::Clear() {
  while (head_ != nullptr)
    Remove(head_);
}

}  // namespace OrvThread
