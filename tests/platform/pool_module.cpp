// A test module: the library's objects in a shared object of their own, with
// entries that queue a work item of the module's code and that make the
// module's next exit-table entry fail.
#include <cstdint>

#include "platform/testing/exit_table_testing.h"
#include "platform/thread.h"
#include "platform/thread_pool.h"
#include "support/module_entry.h"

namespace {

using Report = void (*)(std::uint32_t threadId);

std::uint32_t ReportThread(void* context) {
  reinterpret_cast<Report>(context)(base::platform::CurrentThreadId());
  return 0;  // the worker is still in module code after the report
}

}  // namespace

BASE_TEST_MODULE_ENTRY int BaseTestQueueReportingItem(Report report) {
  return base::platform::QueueWorkItem(&ReportThread, reinterpret_cast<void*>(report), 0) ? 1 : 0;
}

BASE_TEST_MODULE_ENTRY void BaseTestFailNextExitTableEntry() {
  base::platform::testing::FailNextExitTableEntry();
}
