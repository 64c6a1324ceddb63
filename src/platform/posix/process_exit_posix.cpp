// The mark is an exit handler registered under a module handle that no module
// has (the mark's own address), so glibc runs it at exit() and never at a
// dlclose, which runs only the entries of the module closed. A handler with
// no handle at all would do the same, but ThreadSanitizer runs those as plain
// atexit functions and drops their argument. The trap: the handler outlives
// an unload, so neither its code nor its argument may live in the module. Its
// code is libc's sem_post and its argument a semaphore on the heap, which an
// unload runs and frees through __cxa_finalize of that same handle.
#include "platform/posix/process_exit_posix.h"

#include <semaphore.h>
#include <unistd.h>

#include <atomic>

extern "C" int __cxa_atexit(void (*function)(void*), void* argument, void* module);
extern "C" void __cxa_finalize(void* module);

namespace base::platform {
namespace {

std::atomic<sem_t*> g_processEnd{nullptr};

}  // namespace

void WatchForProcessEnd() {
  auto* mark = new sem_t;
  sem_init(mark, /*pshared=*/0, /*value=*/0);
  // sem_post returns an int that the exit handlers ignore; every ABI we build
  // for calls it safely through this type. The cast through void (*)() tells
  // the compiler that the change of type is meant.
  auto post = reinterpret_cast<void (*)(void*)>(reinterpret_cast<void (*)()>(&sem_post));
  if (__cxa_atexit(post, mark, /*module=*/mark) != 0) {
    sem_destroy(mark);
    delete mark;
    return;
  }
  g_processEnd.store(mark, std::memory_order_release);
}

void StopWatchingForProcessEnd() {
  sem_t* mark = g_processEnd.exchange(nullptr, std::memory_order_acq_rel);
  if (mark == nullptr)
    return;
  __cxa_finalize(mark);
  sem_destroy(mark);
  delete mark;
}

bool ProcessIsEnding() {
  sem_t* mark = g_processEnd.load(std::memory_order_acquire);
  int value = 0;
  return mark != nullptr && sem_getvalue(mark, &value) == 0 && value > 0;
}

void WaitForProcessEnd() {
  for (;;)
    pause();
}

}  // namespace base::platform
