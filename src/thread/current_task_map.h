// Which task each thread is running at this moment: the whole per-thread state
// of the task subsystem. A thread is a task thread exactly while the map has a
// non-null entry for its id. Nothing lives in thread-local storage.
//
// Threading: every operation concerns the calling thread's entry and may come
// from any thread. Lookups share the lock; changes (two per run) take it
// alone. The map holds no reference: the task found by a thread is the one it
// runs itself, kept alive by the worker's reference.
#ifndef BASE_THREAD_CURRENT_TASK_MAP_H_
#define BASE_THREAD_CURRENT_TASK_MAP_H_

#include <cstdint>
#include <utility>
#include <vector>

#include <boost/thread/shared_mutex.hpp>

namespace OrvThread {

class ThreadTask;

class CurrentTaskMap {
 public:
  CurrentTaskMap() = default;
  CurrentTaskMap(const CurrentTaskMap&) = delete;
  CurrentTaskMap& operator=(const CurrentTaskMap&) = delete;
  ~CurrentTaskMap();  // NOLINT(bugprone-exception-escape): see the definition

  // The calling thread's task, or null. Takes no exclusive lock, allocates
  // nothing.
  ThreadTask* CurrentTask();
  // Sets the calling thread's entry, creating it if needed; null keeps the
  // entry with no task.
  void SetCurrentTask(ThreadTask* task);
  void EraseCurrentTask();

 private:
  using Entry = std::pair<std::uint32_t, ThreadTask*>;

  // The entry of `thread`, or where it would go to keep the order.
  std::vector<Entry>::iterator Seek(std::uint32_t thread);
  bool IsEntryOf(std::vector<Entry>::iterator entry, std::uint32_t thread) const;

  // Sorted by thread id. A node map allocated and freed a node at every run;
  // this keeps its room, and a run's two changes move at most the entries of
  // the threads running at that moment.
  std::vector<Entry> tasksByThread_;
  // The required lock: boost::shared_mutex, not a std one (docs/frozen-names.md).
  boost::shared_mutex lock_;
};

// One of the library's statics, built at load before anything can call it. It
// must be built before the thread pool is first used: the pool is then torn
// down first, and its join lets every worker leave the map before the map
// goes, even a worker that is still cleaning up after a task whose end was
// already seen. Its definition belongs with the other statics whose order is
// fixed.
extern CurrentTaskMap g_currentTaskMap;

}  // namespace OrvThread

#endif  // BASE_THREAD_CURRENT_TASK_MAP_H_
