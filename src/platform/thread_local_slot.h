// A pointer per thread, with a function that runs at thread exit for each
// thread whose pointer is set.
//
// Use it instead of a C++ thread_local with a destructor: those register with
// the C runtime's thread-exit list, which keeps the module mapped until every
// thread that touched them has ended (for the main thread: never), so that an
// unloaded library is not really unloaded. A slot holds nothing of the kind.
//
// Threading: Get and Set concern the calling thread's value only. Make the
// slot with the module and destroy it with the module, while no thread that
// may exit runs the exit function: once destroyed, thread exits run nothing,
// and the values still set are the owner's to free.
#ifndef BASE_PLATFORM_THREAD_LOCAL_SLOT_H_
#define BASE_PLATFORM_THREAD_LOCAL_SLOT_H_

namespace base::platform {

class ThreadLocalSlot {
 public:
  // Runs on an exiting thread with its value, which is no longer set. It may
  // set the value again while it works; a value left set at the end earns
  // another call, a few times at most.
  using ExitFunction = void (*)(void* value);

  explicit ThreadLocalSlot(ExitFunction atThreadExit);
  ThreadLocalSlot(const ThreadLocalSlot&) = delete;
  ThreadLocalSlot& operator=(const ThreadLocalSlot&) = delete;
  ~ThreadLocalSlot();

  // False if the system had no slot left; Get then returns null and Set fails.
  bool valid() const { return valid_; }
  void* Get() const;
  bool Set(void* value);

 private:
  unsigned key_ = 0;
  bool valid_ = false;
};

}  // namespace base::platform

#endif  // BASE_PLATFORM_THREAD_LOCAL_SLOT_H_
