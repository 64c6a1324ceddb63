// A host as the library expects one. Its main thread sets up the callback
// timers, the scheduler and task management, then runs the message loop. A
// scheduler timer delivers messages, packed with CommonPack, into an inbox
// that the tasks reach through a global handle; two reader tasks wait for
// them interruptibly, decode them and report each one back to the main thread
// with DoCallback; a third task sleeps for ever. At the end the host
// interrupts the tasks, fires the exit notifications and stops task
// management.
#include "host.h"

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "base/buffer.h"
#include "base/commonpack.h"
#include "base/exit_notify.h"
#include "base/handle_pool.h"
#include "base/message_loop.h"
#include "base/method.h"
#include "base/platform.h"
#include "base/thread_task.h"
#include "base/timer.h"

namespace {

namespace task = OrvThread::thisThreadTask;

const auto g_start = std::chrono::steady_clock::now();
std::mutex g_printing;

// Prints "[  1234 ms] who: what" as one line, from any thread.
void Say(const char* who, const char* format, ...) {
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                      std::chrono::steady_clock::now() - g_start)
                      .count();
  char text[256];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  std::lock_guard<std::mutex> hold(g_printing);
  std::printf("[%6lld ms] %-9s %s\n", static_cast<long long>(ms), who, text);
  std::fflush(stdout);
}

// The shared object. The tasks know only its handle number.
struct Inbox {
  std::mutex lock;
  std::deque<Buffer> messages;
  HANDLE arrived = CreateEventW(nullptr, FALSE, FALSE, nullptr);  // auto-reset
};

struct Counters {
  std::atomic<unsigned> delivered{0};
  std::atomic<unsigned> decoded{0};
};

Counters g_counters;
Inbox g_inbox;
unsigned int g_inboxHandle = 0;

// A message on the wire: sequence (4 bytes, big-endian), sender (byte-headed
// text), reading (8 bytes, little-endian).
Buffer PackMessage(unsigned int sequence, const char* sender, unsigned long long reading) {
  CommonPack pack;
  pack.AddDWORD(sequence, true);
  pack.AddStrLenByte(sender);
  pack.AddUINT64(reading, false);
  Buffer out;
  pack.GetBufferOut(out);
  return out;
}

// Scheduler timer, main thread: one new message into the inbox.
void DeliverMessage(void*, void*) {
  static const char* const kSenders[] = {"sensor-a", "sensor-b", "gateway"};
  const unsigned int sequence = ++g_counters.delivered;
  Buffer message = PackMessage(sequence, kSenders[sequence % 3], 1000ull * sequence + 7);
  Say("main", "delivers message #%u (%u bytes) to the inbox", sequence, message.GetSize());
  {
    std::lock_guard<std::mutex> hold(g_inbox.lock);
    g_inbox.messages.push_back(std::move(message));
  }
  SetEvent(g_inbox.arrived);
}

// Scheduler timer, main thread: what has happened so far.
void ShowProgress(void*, void*) {
  Say("main", "progress: %u delivered, %u decoded", g_counters.delivered.load(),
      g_counters.decoded.load());
}

void EndOfRun(void*, void*) {
  Say("main", "time is up: leaving the message loop");
  base::QuitMessageLoop();
}

// Looks the inbox up by its handle; null once the handle no longer names it.
Inbox* FindInbox(unsigned int handle) {
  st_handle_entry entry;
  if (GlobalHandleGetEntry(handle, &entry) != HandleResultOk || entry.state != HandleStateValid)
    return nullptr;
  return static_cast<Inbox*>(entry.object);
}

bool TakeMessage(Inbox& inbox, Buffer& message) {
  std::lock_guard<std::mutex> hold(inbox.lock);
  if (inbox.messages.empty())
    return false;
  message = std::move(inbox.messages.front());
  inbox.messages.pop_front();
  return true;
}

// Task body: waits for messages, decodes each, reports it to the main thread.
void ReadMessages(std::string name, unsigned int inboxHandle) {
  try {
    while (Inbox* inbox = FindInbox(inboxHandle)) {
      // Wakes for a message, after a second without one, or throws
      // TaskInterrupted as soon as the host interrupts this task.
      task::InterruptibleWait(inbox->arrived, OrvThread::Detail::wait_timeout(1000));
      Buffer message;
      while (TakeMessage(*inbox, message)) {
        CommonPack reader;
        reader.SetBufferIn(message, false);
        unsigned int sequence = 0;
        std::string sender;
        unsigned long long reading = 0;
        if (!reader.GetDWORD(sequence, true) || !reader.GetStrByteLenHead(sender) ||
            !reader.GetUINT64(reading, false))
          continue;
        task::Sleep(150);  // the work: an interruption point too
        ++g_counters.decoded;
        task::DoCallback(MakeMethod([name, sequence, sender, reading] {
          Say("main", "%s reports #%u from %s: reading %llu", name.c_str(), sequence,
              sender.c_str(), reading);
        }));
      }
    }
    Say(name.c_str(), "the inbox handle is gone: stopping");
  } catch (const task::TaskInterrupted&) {
    Say(name.c_str(), "interrupted in a wait: ending");
    throw;  // ends the run
  }
}

void SleepForEver() {
  Say("sleeper", "sleeps with no time limit");
  try {
    task::Sleep(INFINITE);
  } catch (const task::TaskInterrupted&) {
    Say("sleeper", "interrupted in its sleep: ending");
    throw;
  }
}

// Exit notifications, fired by the host before it stops its tasks.
void SaveCounters(void* param) {
  const auto* counters = static_cast<const Counters*>(param);
  Say("exit", "save data: %u messages delivered, %u decoded", counters->delivered.load(),
      counters->decoded.load());
}

void RetireInbox(void* param) {
  GlobalHandleDisableHandle(*static_cast<unsigned int*>(param));
  Say("exit", "the inbox handle no longer names the inbox");
}

}  // namespace

int RunHost(unsigned seconds) {
  Say("main", "InitTimeCallback: the callback timers run on this thread");
  InitTimeCallback();
  SetInterval(400, &DeliverMessage, nullptr, nullptr);
  SetInterval(1000, &ShowProgress, nullptr, nullptr);
  SetTimeout(seconds * 1000, &EndOfRun, nullptr, nullptr);
  Say("main", "scheduler timers set: a message every 400 ms, progress every second");
  if (!OrvThread::InitThreadManagement() || g_inbox.arrived == nullptr)
    return 1;

  if (GlobalHandleAllocateHandle(&g_inbox, &g_inboxHandle) != HandleResultOk)
    return 1;
  Say("main", "the inbox is global handle %u", g_inboxHandle);
  AddExitSaveDataCallBack(&SaveCounters, &g_counters);
  AddExitCallBack(&RetireInbox, &g_inboxHandle);

  std::vector<OrvThread::ThreadTaskPtr> tasks;
  for (const char* name : {"reader-1", "reader-2"}) {
    const unsigned int handle = g_inboxHandle;
    tasks.emplace_back(
        OrvThread::PostThreadTask(MakeMethod([name, handle] { ReadMessages(name, handle); })));
  }
  tasks.emplace_back(OrvThread::PostThreadTask(MakeMethod(&SleepForEver)));
  Say("main", "posted %zu tasks (ids %u to %u); running the message loop for %u s", tasks.size(),
      tasks.front()->GetId(), tasks.back()->GetId(), seconds);

  base::RunMessageLoop();

  for (OrvThread::ThreadTaskPtr& t : tasks) {
    Say("main", "interrupts task %u", t->GetId());
    t->Interrupt();
  }
  NotifySaveDataBeforeExit();
  NotifyExit();
  OrvThread::FInitThreadManagement();
  Say("main", "FInitThreadManagement: every task has ended");

  EraseTimerCallback(&DeliverMessage, nullptr);
  EraseTimerCallback(&ShowProgress, nullptr);
  GlobalHandleCloseHandle(g_inboxHandle);
  CloseHandle(g_inbox.arrived);
  Say("main", "done: %u messages delivered, %u decoded", g_counters.delivered.load(),
      g_counters.decoded.load());
  return 0;
}
