// A test module: the library's objects in a shared object of their own, so
// that each load starts with fresh statics (the first task id, the pool flags)
// and an unload can follow the stop of all tasks at once.
#include <cstdint>

#include "base/method.h"
#include "base/thread_task.h"
#include "platform/testing/os_version_testing.h"
#include "platform/thread.h"
#include "support/module_entry.h"
#include "thread/thread_management.h"

// Makes the manager with the OS reporting `major` (negative: a failed query)
// and gives back the pool flags it chose.
BASE_TEST_MODULE_ENTRY std::uint32_t BaseTestQueueFlagsFor(int major) {
  if (major < 0)
    base::platform::testing::FailOsVersionQuery();
  else
    base::platform::testing::SetOsMajorVersion(static_cast<std::uint32_t>(major));
  OrvThread::InitThreadManagement();
  base::platform::testing::ResetOsVersion();
  return OrvThread::GetThreadManagement()->QueueFlags();
}

// The ids of the first two tasks of this load. Stops task management before
// it returns, as a host must before it unloads the library.
BASE_TEST_MODULE_ENTRY void BaseTestFirstIds(std::uint32_t* first, std::uint32_t* second) {
  OrvThread::InitThreadManagement();
  OrvThread::ThreadTaskPtr a = OrvThread::PostThreadTask(Method<void()>());
  OrvThread::ThreadTaskPtr b = OrvThread::PostThreadTask(Method<void()>());
  // A join that hangs reports id 0, which the caller's check refuses.
  const bool ended = a->TimedJoin(10000) && b->TimedJoin(10000);
  *first = ended ? a->GetId() : 0;
  *second = ended ? b->GetId() : 0;
  OrvThread::FInitThreadManagement();
}

namespace {

// Sleeps until interrupted; when freed, lingers a moment in module code and
// reports.
class SleepingTarget : public MethodTarget {
 public:
  explicit SleepingTarget(void (*onFreed)()) : onFreed_(onFreed) {}
  ~SleepingTarget() override {
    base::platform::Sleep(2);
    onFreed_();
  }
  void Invoke() override { OrvThread::thisThreadTask::Sleep(INFINITE); }

 private:
  void (*onFreed_)();
};

}  // namespace

// Posts `count` tasks and drops them, stops them all and returns. A task, and
// its delegate with it, may be freed on its worker after the stop has seen the
// end of the run.
BASE_TEST_MODULE_ENTRY void BaseTestPostAndStop(int count, void (*onFreed)()) {
  OrvThread::InitThreadManagement();
  for (int i = 0; i < count; ++i)
    OrvThread::PostThreadTask(Method<void()>(new SleepingTarget(onFreed)));
  OrvThread::FInitThreadManagement();
}
