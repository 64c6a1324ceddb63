// The library's four static objects, defined in one translation unit because
// only within one is the order of construction defined. They are made at load
// in this order and destroyed at unload in the reverse one, after every entry
// that first use added to the exit table (the singleton registry, the
// scheduler): those entries may still use all four while they run.
//
// The thread pool is a function-local static of the platform layer, made at
// the first task, after these: it is stopped and its workers joined before
// currentTaskMap goes, so no worker can leave the map after it is destroyed.
#include "encoding/code_page_tables.h"
#include "lifecycle/exit_lists.h"
#include "thread/current_task_map.h"

namespace base {

ExitCallBackList ExitSaveDataCallBacks;
ExitCallBackList ExitCallBacks;
CodePageTableSet CodePageTables;

// Not an object with a destructor: its place in the order does not matter.
std::uint16_t scratchChar = 0;

}  // namespace base

namespace OrvThread {

CurrentTaskMap g_currentTaskMap;

}  // namespace OrvThread
