#include "timer/timer_base.h"

#include <algorithm>
#include <tuple>

namespace base {
namespace {

constexpr wchar_t kClassName[] = L"@#$^KVTimer_Class@#$^";
constexpr wchar_t kWindowName[] = L"Timer Helper Window";

// A function posted in lparam of the async message, called with wparam.
using PostedFunction = void (*)(std::uintptr_t);

// The queues' duplicate rule is wider than the timers': an owner of 0 on
// either side matches every owner.
bool Enqueue(platform::CriticalSection& lock,
             std::vector<CallbackRecord>& queue,
             const CallbackRecord& record) {
  platform::ScopedCriticalSection hold(lock);
  const bool duplicate =
      std::any_of(queue.begin(), queue.end(), [&record](const CallbackRecord& queued) {
        return queued.callback == record.callback &&
               (!record.owner || !queued.owner || queued.owner == record.owner);
      });
  if (duplicate)
    return false;
  queue.push_back(record);
  return true;
}

// Here an owner of 0 in the call means all owners, but a given owner does not
// match a record whose owner is 0.
bool EraseFrom(platform::CriticalSection& lock,
               std::vector<CallbackRecord>& queue,
               SchedulerCallback callback,
               void* owner) {
  platform::ScopedCriticalSection hold(lock);
  const auto kept =
      std::remove_if(queue.begin(), queue.end(), [callback, owner](const CallbackRecord& queued) {
        return queued.callback == callback && (!owner || queued.owner == owner);
      });
  const bool removed = kept != queue.end();
  queue.erase(kept, queue.end());
  return removed;
}

}  // namespace

CTimerBase::CTimerBase() {
  MakeWindow();
}

CTimerBase::~CTimerBase() {
  if (!window_)
    return;
  // Only the owner thread can destroy the window. Emptying its word first
  // means that, if this runs elsewhere, messages still on their way find no
  // object instead of a freed one.
  platform::SetWindowWord0(window_, 0);
  // Off the owner thread this fails, and the emptied word is all that can be
  // done.
  std::ignore = platform::DestroyMessageWindow(window_);
}

void CTimerBase::MakeWindow() {
  if (window_)
    return;
  // Refused once the class exists, which is fine: it is always ours.
  platform::RegisterWindowClass(kClassName, &CTimerBase::WindowProcedure);
  window_ = platform::CreateMessageWindow(kClassName, kWindowName, this);
}

std::intptr_t BASE_WINDOW_CALL CTimerBase::WindowProcedure(platform::WindowHandle window,
                                                           std::uint32_t message,
                                                           std::uintptr_t wparam,
                                                           std::intptr_t lparam) {
  switch (message) {
    case platform::kMessageCreate:
      platform::SetWindowWord0(
          window, reinterpret_cast<std::intptr_t>(platform::CreationParameter(lparam)));
      break;
    case platform::kMessageDestroy:
      platform::SetWindowWord0(window, 0);
      break;
    case platform::kMessageTimer:
    case kMessageRunAsync:
    case kMessageStartTimers: {
      auto* self = reinterpret_cast<CTimerBase*>(platform::GetWindowWord0(window));
      if (!self)
        break;
      if (message == platform::kMessageTimer)
        return self->OnTimer(wparam);
      if (message == kMessageStartTimers) {
        self->OnStart();
        return 1;
      }
      // The library never posts a function itself; the branch stays for
      // modules that do.
      if (lparam)
        reinterpret_cast<PostedFunction>(lparam)(wparam);
      else
        self->RunAsyncBatch();
      return 1;
    }
    default:
      break;
  }
  return platform::DefaultWindowProcedure(window, message, wparam, lparam);
}

bool CTimerBase::SetIdleCallback(SchedulerCallback callback, void* param, void* owner) {
  return callback && Enqueue(lock_, idleCallbacks_, CallbackRecord{callback, param, owner});
}

bool CTimerBase::EraseIdleCallback(SchedulerCallback callback, void* owner) {
  return EraseFrom(lock_, idleCallbacks_, callback, owner);
}

void CTimerBase::NotifyIdle() {
  // One idle callback at a time in the whole process: a NotifyIdle that finds
  // another inside, on any thread, runs nothing and does not wait. An
  // exception out of the callback skips the decrement on purpose, and idle
  // callbacks stop for good.
  if (InterlockedIncrement(&idleGuard_) == 0) {
    CallbackRecord taken{};
    {
      platform::ScopedCriticalSection hold(lock_);
      if (!idleCallbacks_.empty()) {
        taken = idleCallbacks_.front();
        idleCallbacks_.erase(idleCallbacks_.begin());
      }
    }
    if (taken.callback)
      taken.callback(taken.owner, taken.param);
  }
  InterlockedDecrement(&idleGuard_);
}

bool CTimerBase::SetAsyncCallback(SchedulerCallback callback, void* param, void* owner) {
  if (!callback)
    return false;
  MakeWindow();
  if (!Enqueue(lock_, asyncCallbacks_, CallbackRecord{callback, param, owner}))
    return false;
  // One message per queued record, posted outside the lock. A lost post
  // leaves the record for the next message's batch.
  std::ignore = platform::PostWindowMessage(window_, kMessageRunAsync, 0, 0);
  return true;
}

bool CTimerBase::EraseAsyncCallback(SchedulerCallback callback, void* owner) {
  return EraseFrom(lock_, asyncCallbacks_, callback, owner);
}

void CTimerBase::RunAsyncBatch() {
  // Everything waiting now forms the batch. What is queued while it runs,
  // even by its own callbacks, waits for a later message.
  std::vector<CallbackRecord> batch;
  {
    platform::ScopedCriticalSection hold(lock_);
    batch.swap(asyncCallbacks_);
  }
  for (const CallbackRecord& record : batch)
    record.callback(record.owner, record.param);
}

}  // namespace base
