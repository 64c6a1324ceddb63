// A test module: the library's objects in a shared object of their own, with
// entries that make the library's objects through its exported functions and
// tell the test what the exit table is about to take down.
#include <cstdint>

#include "base/encoding.h"
#include "base/exit_notify.h"
#include "base/handle_pool.h"
#include "base/method.h"
#include "base/thread_task.h"
#include "base/timer.h"
#include "platform/testing/exit_table_testing.h"
#include "platform/testing/message_window_testing.h"
#include "support/module_entry.h"
#include "timer/scheduler.h"

namespace {

using Report = void (*)(const char* what);

Report g_report = nullptr;
base::platform::WindowHandle g_schedulerWindow = nullptr;

void OnWindowDestroyed(base::platform::WindowHandle window) {
  g_report(window == g_schedulerWindow ? "scheduler" : "callback timers");
}

void Never(void*, void*) {}

}  // namespace

BASE_TEST_MODULE_ENTRY unsigned BaseTestExitTableEntries() {
  return base::platform::testing::ExitTableEntriesAdded();
}

// Reports each timer window that the unload destroys, by its owner.
BASE_TEST_MODULE_ENTRY void BaseTestReportTeardown(Report report) {
  g_report = report;
  base::platform::testing::ObserveWindowDestruction(&OnWindowDestroyed);
}

BASE_TEST_MODULE_ENTRY void BaseTestStartCallbackTimers() {
  InitTimeCallback();
}

BASE_TEST_MODULE_ENTRY void BaseTestStartScheduler() {
  SetInterval(1000, &Never, nullptr, nullptr);
  g_schedulerWindow = base::GetScheduler()->window();
}

BASE_TEST_MODULE_ENTRY void BaseTestAddExitCallbacks(ExitCallBackFunc callback) {
  AddExitCallBack(callback, nullptr);
  AddExitSaveDataCallBack(callback, nullptr);
}

BASE_TEST_MODULE_ENTRY const int* BaseTestCodePageMap(int codePage) {
  return XmlText::Encoding::GetCPMap(codePage);
}

BASE_TEST_MODULE_ENTRY int BaseTestCodePagePair(int codePage, char lead, char trail) {
  const char pair[2] = {lead, trail};
  return XmlText::Encoding::CPConvert(codePage, pair);
}

BASE_TEST_MODULE_ENTRY unsigned BaseTestFirstHandle() {
  static int object;
  unsigned handle = 0;
  GlobalHandleAllocateHandle(&object, &handle);
  return handle;
}

// Runs one task to its end and stops task management, as a host does before
// it unloads the library; returns the task's id, or 0 if it did not end in time.
BASE_TEST_MODULE_ENTRY std::uint32_t BaseTestRunOneTask() {
  OrvThread::InitThreadManagement();
  OrvThread::ThreadTaskPtr task = OrvThread::PostThreadTask(MakeMethod([] {}));
  const std::uint32_t id = task->TimedJoin(10000) ? task->GetId() : 0;
  OrvThread::FInitThreadManagement();
  return id;
}
