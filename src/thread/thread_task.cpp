#include "base/thread_task.h"

#include "platform/wait.h"
#include "thread/task_access.h"
#include "thread/task_lifecycle.h"

namespace OrvThread {
namespace {

// The id of the last task made; ids start at 1 and wrap after 2^32 tasks.
volatile LONG lastTaskId = 0;

HANDLE NewManualResetEvent() {
  return base::platform::CreateEvent(/*manualReset=*/true, /*initiallySignalled=*/false);
}

void CloseIfPresent(HANDLE& handle) {
  if (handle != nullptr && handle != INVALID_HANDLE_VALUE)
    base::platform::CloseHandle(handle);
  handle = nullptr;
}

}  // namespace

ThreadTaskBase::ThreadTaskBase()
    : refCount(0),
      interruptionEvent(NewManualResetEvent()),
      finishedEvent(nullptr),
      interruptionEnabled(true),
      id(0) {
  if (interruptionEvent == nullptr)
    throw ResourceError();
  finishedEvent = NewManualResetEvent();
  if (finishedEvent == nullptr) {
    CloseIfPresent(interruptionEvent);
    throw ResourceError();
  }
  // Taken last, so that a failed construction uses up no id.
  id = static_cast<std::uint32_t>(InterlockedIncrement(&lastTaskId));
}

ThreadTaskBase::~ThreadTaskBase() {
  CloseIfPresent(finishedEvent);
  CloseIfPresent(interruptionEvent);
}

std::uint32_t ThreadTaskBase::GetId() const {
  return id;
}

void ThreadTaskBase::Interrupt() {
  base::platform::SetEvent(interruptionEvent);
}

bool ThreadTaskBase::IsInterruptionRequested() const {
  return base::platform::WaitForSingleObject(interruptionEvent, 0) == WAIT_OBJECT_0;
}

void ThreadTaskBase::Join() {
  base::platform::WaitForSingleObject(finishedEvent, INFINITE);
}

bool ThreadTaskBase::TimedJoin(std::uint32_t milliseconds) {
  return base::platform::WaitForSingleObject(finishedEvent, milliseconds) == WAIT_OBJECT_0;
}

ThreadTask::ThreadTask(const Method<void()>& work) : method(work) {}

ThreadTask::~ThreadTask() = default;

void ThreadTask::Run() {
  method.Run();
}

ThreadTaskPtr::ThreadTaskPtr() : task(nullptr) {}

ThreadTaskPtr::ThreadTaskPtr(ThreadTask* pointee) : task(pointee) {
  if (task != nullptr)
    InterlockedIncrement(Detail::TaskAccess::RefCount(task));
}

ThreadTaskPtr::ThreadTaskPtr(const ThreadTaskPtr& other) : ThreadTaskPtr(other.task) {}

ThreadTaskPtr::~ThreadTaskPtr() {
  if (task != nullptr)
    ReleaseTask(task);
}

void ThreadTaskPtr::operator=(ThreadTask* pointee) {
  // Assigning the task already held changes nothing. That also covers a
  // pointer assigned to itself while it holds the last reference, which a
  // release before the new reference would free.
  if (pointee == task)
    return;
  // Count the new task before the old one can go: the old task may be what
  // keeps the new one alive (its delegate may hold a pointer to it).
  if (pointee != nullptr)
    InterlockedIncrement(Detail::TaskAccess::RefCount(pointee));
  ThreadTask* const old = task;
  task = pointee;
  if (old != nullptr)
    ReleaseTask(old);
}

// Self-assignment assigns the task already held, which changes nothing.
void ThreadTaskPtr::operator=(ThreadTaskPtr& other) {  // NOLINT(bugprone-unhandled-self-assignment)
  *this = other.task;
}

bool ThreadTaskPtr::operator==(ThreadTask* other) const {
  return task == other;
}

ThreadTaskPtr::operator ThreadTask*() const {
  return task;
}

ThreadTask* ThreadTaskPtr::operator->() const {
  return task;
}

}  // namespace OrvThread
