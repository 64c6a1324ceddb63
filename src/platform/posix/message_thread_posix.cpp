// Design note. A thread's part is reached through a ThreadLocalSlot, never a
// C++ thread_local with a destructor: those pin the library in memory until
// every thread that touched them has ended, so that dlclose would neither run
// the exit table nor unmap the code. The slot's exit function tears a part
// down at thread exit; a directory that owns every part frees those of live
// threads at unload.
//
// The directory is a static made at load. The trap: the library's exit-table
// entries made at run time (singletons, the scheduler) destroy their windows
// at unload, and they run before every static made at load is destroyed, so
// the queues are still there for them. A function-local static, made at
// first use, would be destroyed before entries registered ahead of it.
#include "platform/posix/message_thread_posix.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "platform/posix/message_queue_posix.h"
#include "platform/thread_local_slot.h"

namespace base::platform {
namespace {

struct MessageThread {
  std::shared_ptr<MessageQueue> queue;
  RecentWindows recent;
};

// Destroys what the thread's windows still hold, on the thread itself.
void TearDown(MessageThread& thread) {
  if (!thread.queue)
    return;
  MessageQueue& queue = *thread.queue;
  while (!queue.windows().empty()) {
    const WindowHandle window = queue.windows().back();
    if (!DestroyMessageWindow(window))
      queue.RemoveWindow(window);
  }
  queue.Shutdown();
}

void ExitThread(void* value);

class Directory {
 public:
  Directory() = default;
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  MessageThread* Current(bool make) {
    auto* thread = static_cast<MessageThread*>(slot_.Get());
    if (thread || !make || !slot_.valid())
      return thread;
    auto made = std::make_unique<MessageThread>();
    thread = made.get();
    {
      std::lock_guard<std::mutex> lock(mutex_);
      threads_.push_back(std::move(made));
    }
    slot_.Set(thread);
    return thread;
  }

  void Exit(MessageThread* thread) {
    // Procedures that run during the teardown still find the thread's part:
    // the owner check of a destruction and the memo both need it.
    slot_.Set(thread);
    TearDown(*thread);
    slot_.Set(nullptr);
    std::unique_ptr<MessageThread> gone;
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = std::find_if(threads_.begin(), threads_.end(),
                           [thread](const auto& t) { return t.get() == thread; });
    if (it == threads_.end())
      return;
    gone = std::move(*it);
    *it = std::move(threads_.back());
    threads_.pop_back();
  }

 private:
  std::mutex mutex_;
  std::vector<std::unique_ptr<MessageThread>> threads_;
  // Declared last, so destroyed first: once the parts are freed at unload, no
  // thread exit may still reach them, nor this code once it is unmapped.
  ThreadLocalSlot slot_{&ExitThread};
};

Directory g_directory;

void ExitThread(void* value) {
  g_directory.Exit(static_cast<MessageThread*>(value));
}

}  // namespace

MessageQueue* CurrentQueue() {
  MessageThread* thread = g_directory.Current(/*make=*/true);
  if (!thread)
    return nullptr;
  if (!thread->queue)
    thread->queue = std::make_shared<MessageQueue>();
  return thread->queue.get();
}

MessageQueue* CurrentQueueIfAny() {
  MessageThread* thread = g_directory.Current(/*make=*/false);
  return thread ? thread->queue.get() : nullptr;
}

RecentWindows* CurrentRecentWindows() {
  MessageThread* thread = g_directory.Current(/*make=*/true);
  return thread ? &thread->recent : nullptr;
}

}  // namespace base::platform
