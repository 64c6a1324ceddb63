#include "base/message_loop.h"

#include <cstdint>

#include "platform/posix/message_queue_posix.h"

namespace base {

using platform::MessageQueue;

void RunMessageLoop() {
  MessageQueue* queue = MessageQueue::ForCurrentThread();
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
  if (MessageQueue* queue = MessageQueue::ForCurrentThread())
    queue->RequestQuit();
}

unsigned PumpMessages(unsigned timeoutMs) {
  MessageQueue* queue = MessageQueue::ForCurrentThread();
  if (!queue)
    return 0;
  if (timeoutMs != 0)
    queue->WaitForWork(timeoutMs);
  return queue->DispatchPending(/*stopAtQuit=*/false);
}

int MessageLoopFd() {
  MessageQueue* queue = MessageQueue::ForCurrentThread();
  return queue ? queue->PollFd() : -1;
}

}  // namespace base
