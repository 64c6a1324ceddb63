// The test seams of the exit table, the same on every backend.
#include "platform/exit_table.h"

#include <atomic>

#include "platform/testing/exit_table_testing.h"

namespace base::platform {
namespace {

std::atomic<unsigned> g_entriesAdded{0};
std::atomic<bool> g_failNextEntry{false};

}  // namespace

bool AddExitTableEntry(void (*entry)()) {
  g_entriesAdded.fetch_add(1, std::memory_order_relaxed);
  if (g_failNextEntry.exchange(false, std::memory_order_relaxed))
    return false;
  return AddSystemExitTableEntry(entry);
}

namespace testing {

unsigned ExitTableEntriesAdded() {
  return g_entriesAdded.load(std::memory_order_relaxed);
}

void FailNextExitTableEntry() {
  g_failNextEntry.store(true, std::memory_order_relaxed);
}

}  // namespace testing
}  // namespace base::platform
