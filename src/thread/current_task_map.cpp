#include "thread/current_task_map.h"

#include <algorithm>
#include <mutex>
#include <shared_mutex>

#include "platform/thread.h"

namespace OrvThread {
namespace {

// Boost's blocking lock() and lock_shared() first switch thread interruption
// off, which looks up Boost's per-thread data twice: about a quarter of what
// an uncontended hold costs. A try takes the same hold without that, so the
// blocking call is left to the contended case.
std::unique_lock<boost::shared_mutex> HoldAlone(boost::shared_mutex& lock) {
  std::unique_lock<boost::shared_mutex> hold(lock, std::try_to_lock);
  if (!hold.owns_lock())
    hold.lock();
  return hold;
}

std::shared_lock<boost::shared_mutex> HoldShared(boost::shared_mutex& lock) {
  std::shared_lock<boost::shared_mutex> hold(lock, std::try_to_lock);
  if (!hold.owns_lock())
    hold.lock();
  return hold;
}

}  // namespace

// A lock error here, at unload, would end the process either way.
CurrentTaskMap::~CurrentTaskMap() {  // NOLINT(bugprone-exception-escape)
  const std::unique_lock<boost::shared_mutex> hold = HoldAlone(lock_);
  tasksByThread_.clear();
}

std::vector<CurrentTaskMap::Entry>::iterator CurrentTaskMap::Seek(std::uint32_t thread) {
  return std::lower_bound(tasksByThread_.begin(), tasksByThread_.end(), thread,
                          [](const Entry& entry, std::uint32_t id) { return entry.first < id; });
}

bool CurrentTaskMap::IsEntryOf(std::vector<Entry>::iterator entry, std::uint32_t thread) const {
  return entry != tasksByThread_.end() && entry->first == thread;
}

ThreadTask* CurrentTaskMap::CurrentTask() {
  const std::uint32_t thread = base::platform::CurrentThreadId();
  const std::shared_lock<boost::shared_mutex> hold = HoldShared(lock_);
  const auto entry = Seek(thread);
  return IsEntryOf(entry, thread) ? entry->second : nullptr;
}

void CurrentTaskMap::SetCurrentTask(ThreadTask* task) {
  const std::uint32_t thread = base::platform::CurrentThreadId();
  const std::unique_lock<boost::shared_mutex> hold = HoldAlone(lock_);
  const auto entry = Seek(thread);
  if (IsEntryOf(entry, thread))
    entry->second = task;
  else
    tasksByThread_.emplace(entry, thread, task);
}

void CurrentTaskMap::EraseCurrentTask() {
  const std::uint32_t thread = base::platform::CurrentThreadId();
  const std::unique_lock<boost::shared_mutex> hold = HoldAlone(lock_);
  const auto entry = Seek(thread);
  if (IsEntryOf(entry, thread))
    tasksByThread_.erase(entry);
}

}  // namespace OrvThread
