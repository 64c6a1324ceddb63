#include "thread/current_task_map.h"

#include <mutex>
#include <shared_mutex>

#include "platform/thread.h"

namespace OrvThread {

// A lock error here, at unload, would end the process either way.
CurrentTaskMap::~CurrentTaskMap() {  // NOLINT(bugprone-exception-escape)
  std::unique_lock<boost::shared_mutex> hold(lock_);
  tasksByThread_.clear();
}

ThreadTask* CurrentTaskMap::CurrentTask() {
  const std::uint32_t thread = base::platform::CurrentThreadId();
  std::shared_lock<boost::shared_mutex> hold(lock_);
  const auto entry = tasksByThread_.find(thread);
  return entry == tasksByThread_.end() ? nullptr : entry->second;
}

void CurrentTaskMap::SetCurrentTask(ThreadTask* task) {
  const std::uint32_t thread = base::platform::CurrentThreadId();
  std::unique_lock<boost::shared_mutex> hold(lock_);
  tasksByThread_[thread] = task;
}

void CurrentTaskMap::EraseCurrentTask() {
  const std::uint32_t thread = base::platform::CurrentThreadId();
  std::unique_lock<boost::shared_mutex> hold(lock_);
  tasksByThread_.erase(thread);
}

}  // namespace OrvThread
