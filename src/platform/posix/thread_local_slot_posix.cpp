#include "platform/thread_local_slot.h"

#include <pthread.h>

#include <type_traits>

namespace base::platform {

static_assert(std::is_same_v<pthread_key_t, unsigned>, "a key is kept as unsigned");

ThreadLocalSlot::ThreadLocalSlot(ExitFunction atThreadExit) {
  pthread_key_t key;
  valid_ = pthread_key_create(&key, atThreadExit) == 0;
  key_ = valid_ ? key : 0;
}

ThreadLocalSlot::~ThreadLocalSlot() {
  if (valid_)
    pthread_key_delete(key_);
}

void* ThreadLocalSlot::Get() const {
  return valid_ ? pthread_getspecific(key_) : nullptr;
}

bool ThreadLocalSlot::Set(void* value) {
  return valid_ && pthread_setspecific(key_, value) == 0;
}

}  // namespace base::platform
