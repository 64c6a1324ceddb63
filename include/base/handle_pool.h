// Handle pools: small integer names for object pointers. A caller registers a
// pointer and gets a number from 65535 to 67582 that it can store and look up
// later. Disabling a handle clears its pointer but keeps the number taken;
// closing it puts the number at the back of a queue to be given out again.
// The pool never touches the objects themselves.
//
// Numbers carry no generation: once a closed number is given out again, a
// stale copy of it reaches the new object and nothing can tell the two apart.
// The only delay is the queue: a closed number comes back after every number
// closed before it.
//
// handlepoolobject is a private pool; the GlobalHandle... functions reach the
// one pool of the process, which is made at their first call.
//
// Threading: nothing here is locked, the global pool included. All calls on
// one pool must come from one thread or be serialised by the caller, and the
// first call of a GlobalHandle... function must have returned before another
// thread makes one.
#ifndef BASE_HANDLE_POOL_H_
#define BASE_HANDLE_POOL_H_

#include <cstddef>
#include <cstdint>

#include "base/export.h"

// The first handle, and the number of handles a pool holds.
inline constexpr unsigned int HandleBase = 0xFFFF;
inline constexpr unsigned int HandleCount = 0x800;

// The states of a handle.
inline constexpr std::uint32_t HandleStateNew = 0;       // never given out
inline constexpr std::uint32_t HandleStateValid = 1;     // refers to `object`
inline constexpr std::uint32_t HandleStateDisabled = 2;  // taken, object gone
inline constexpr std::uint32_t HandleStateClosed = 3;    // queued for reuse

// Results of AllocateHandle and GetEntry.
inline constexpr unsigned int HandleResultOk = 0;
inline constexpr unsigned int HandleResultOutOfRange = 2;
inline constexpr unsigned int HandleResultExhausted = 3;
inline constexpr unsigned int HandleResultNoPool = 0xFFFFFFFF;

// The record of one handle, as GetEntry delivers it.
struct st_handle_entry {
  std::uint32_t state;
  void* object;            // null in every state but HandleStateValid
  std::uint32_t reserved;  // always 0
};
static_assert(offsetof(st_handle_entry, object) == sizeof(void*), "layout is shared with callers");
static_assert(offsetof(st_handle_entry, reserved) == 2 * sizeof(void*),
              "layout is shared with callers");

struct handlepool;

// A private pool of 2048 handles. Not copyable: two objects sharing one table
// would both release it.
class BASE_EXPORT handlepoolobject {
 public:
  handlepoolobject();
  ~handlepoolobject();
  handlepoolobject(const handlepoolobject&) = delete;
  handlepoolobject& operator=(const handlepoolobject&) = delete;

  // Stores `object` under a new number in `*handle` and returns 0. Reuses
  // the number closed longest ago before opening a never-used one. Returns 3
  // with `*handle` 0 when all 2048 numbers are taken (a disabled handle is
  // taken until closed). A null `object` or `handle` returns 0 too, without
  // writing `*handle`: callers that may pass null must check `*handle`.
  unsigned int AllocateHandle(void* object, unsigned int* handle);

  // Copies the entry of `handle` to `*entry` (which must not be null) and
  // returns 0 in every state: look at entry->state; object is usable only in
  // HandleStateValid. Returns 2 for a number out of range, `*entry` untouched.
  unsigned int GetEntry(unsigned int handle, st_handle_entry* entry);

  // Clears the object of a valid handle and keeps its number taken. Anything
  // else (out of range, not valid) is ignored.
  void DisableHandle(unsigned int handle);

  // Gives the number of a valid or disabled handle back for reuse. A number
  // never given out, or already closed, is ignored, so a double close cannot
  // queue a number twice.
  void CloseHandle(unsigned int handle);

 private:
  handlepool* pool;
};
static_assert(sizeof(handlepoolobject) == sizeof(void*), "a pool object is one pointer");

// The one pool of the process, made at the first call of any of these. Same
// results as the handlepoolobject functions of the same name; once the pool
// has been released at unload, GlobalHandleAllocateHandle and
// GlobalHandleGetEntry return 0xFFFFFFFF and the other two do nothing.
// That refusal lasts only while the library's teardown runs. A call after it,
// from the static destructor of a module that outlives the library's exit
// table, makes a new, empty pool as a first call would: a handle kept from
// before is unknown to it, and a handle it gives out may be one already in
// use elsewhere.
BASE_EXPORT unsigned int GlobalHandleAllocateHandle(void* object, unsigned int* handle);
BASE_EXPORT unsigned int GlobalHandleGetEntry(unsigned int handle, st_handle_entry* entry);
BASE_EXPORT void GlobalHandleDisableHandle(unsigned int handle);
BASE_EXPORT void GlobalHandleCloseHandle(unsigned int handle);

#endif  // BASE_HANDLE_POOL_H_
