#include "base/message_loop.h"

#include <cstdint>

#include "platform/posix/message_queue_posix.h"
#include "platform/posix/message_thread_posix.h"

namespace base {

using platform::CurrentQueue;
using platform::MessageQueue;

void RunMessageLoop() {
  MessageQueue* queue = CurrentQueue();
  if (!queue)
    return;
  while (!queue->TakeQuit()) {
    queue->DispatchPending(/*stopAtQuit=*/true);
    if (queue->TakeQuit())
      return;
    queue->WaitForWork(UINT32_MAX);
  }
}

void QuitMessageLoop() {
  if (MessageQueue* queue = CurrentQueue())
    queue->RequestQuit();
}

unsigned PumpMessages(unsigned timeoutMs) {
  MessageQueue* queue = CurrentQueue();
  if (!queue)
    return 0;
  if (timeoutMs != 0)
    queue->WaitForWork(timeoutMs);
  return queue->DispatchPending(/*stopAtQuit=*/false);
}

int MessageLoopFd() {
  MessageQueue* queue = CurrentQueue();
  return queue ? queue->PollFd() : -1;
}

}  // namespace base
