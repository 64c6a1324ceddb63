// OwnedMutex: a mutex that knows, in debug builds, which thread holds it, so
// that code which must run under it checks that instead of saying so in a
// comment: mutex_.AssertHeld(). A failed check reports the caller's file and
// line, and aborts.
//
// Lockable (lock, try_lock, unlock), so the usual guards take it. Not for
// std::condition_variable, which wants a std::mutex itself: the posix backend
// checks those through the owner that the system records (see
// platform/posix/mutex_owner_posix.h). With NDEBUG it is the mutex alone, and
// AssertHeld is empty.
#ifndef BASE_CHECK_OWNED_MUTEX_H_
#define BASE_CHECK_OWNED_MUTEX_H_

#include <atomic>
#include <thread>

#include "check/dcheck.h"

namespace base::internal {

template <typename Mutex>
class OwnedMutex {
 public:
  OwnedMutex() = default;
  OwnedMutex(const OwnedMutex&) = delete;
  OwnedMutex& operator=(const OwnedMutex&) = delete;

  void lock() {
    mutex_.lock();
    NoteOwner(std::this_thread::get_id());
  }

  bool try_lock() {
    if (!mutex_.try_lock())
      return false;
    NoteOwner(std::this_thread::get_id());
    return true;
  }

  void unlock() {
    NoteOwner(std::thread::id());
    mutex_.unlock();
  }

  // Fails, in debug builds, unless the calling thread holds the mutex.
  void AssertHeld(const char* file = __builtin_FILE(), int line = __builtin_LINE()) const {
#ifndef NDEBUG
    // Relaxed is enough: only the holder ever stores its own id, so a thread
    // that reads its own id here wrote it itself.
    if (owner_.load(std::memory_order_relaxed) != std::this_thread::get_id())
      DcheckFailed("the calling thread holds the lock", file, line);
#else
    static_cast<void>(file);
    static_cast<void>(line);
#endif
  }

 private:
#ifndef NDEBUG
  void NoteOwner(std::thread::id owner) {
    owner_.store(owner, std::memory_order_relaxed);
  }
  std::atomic<std::thread::id> owner_{};
#else
  void NoteOwner(std::thread::id) {}
#endif
  Mutex mutex_;
};

}  // namespace base::internal

#endif  // BASE_CHECK_OWNED_MUTEX_H_
