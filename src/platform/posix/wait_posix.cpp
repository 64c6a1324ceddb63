// Waitable objects on posix, without a descriptor per object.
//
// Every object lives in a slot of one table of fixed-size chunks. Chunks are
// never moved or freed while the module is loaded, so a slot can always be
// read through a stale handle; the handle's generation tells whether it still
// names the slot's object. A slot returns to the free list when its last
// reference goes: the handle holds one, and so does each wait registered with
// the object, so a slot is never reused under a waiter.
//
// A wait first locks its objects (in slot order, so two multi-waits cannot
// deadlock) and takes the lowest signalled one. Otherwise it links a WaitLink
// into each object's FIFO list and sleeps on a futex word of its own. The word
// holds the result in its low byte and a kick count above it. A signal claims
// a waiter by a compare-and-swap of the result from 0, so only one object can
// satisfy a wait and an auto-reset object is consumed by exactly one waiter; it
// unlinks the waiter itself, so the woken thread never needs that object's
// lock again. Re-arming a timer kicks its waiters so they fold the new due
// time into their sleep. A waiter whose sleep ends at a timer's due time
// expires the timer itself, through the same signal path.
#include "platform/wait.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstddef>
#include <mutex>
#include <new>

#include "platform/posix/blocking_wait_posix.h"
#include "platform/posix/mutex_owner_posix.h"
#include "platform/posix/process_exit_posix.h"
#include "platform/testing/wait_testing.h"

namespace base::platform {
namespace {

constexpr std::int64_t kNever = INT64_MAX;

std::int64_t MonotonicNs() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

// `from` plus `hundredNs` units of 100 ns, saturating at kNever.
std::int64_t AddHundredNs(std::int64_t from, std::uint64_t hundredNs) {
  const std::uint64_t room = static_cast<std::uint64_t>(kNever - from) / 100;
  return hundredNs >= room ? kNever : from + static_cast<std::int64_t>(hundredNs) * 100;
}

// Sleeps while `*word` equals `expected`, until woken or the monotonic
// `deadline`. Returns early for any reason; callers re-check their state.
void FutexWait(std::atomic<std::uint32_t>* word, std::uint32_t expected, std::int64_t deadline) {
  timespec until;
  timespec* timeout = nullptr;
  if (deadline != kNever) {
    until.tv_sec = static_cast<time_t>(deadline / 1000000000);
    until.tv_nsec = static_cast<long>(deadline % 1000000000);
    timeout = &until;
  }
  syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(word), FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG,
          expected, timeout, nullptr, FUTEX_BITSET_MATCH_ANY);
}

// The trap: the woken thread may already have left its wait and reused the
// stack that held `word`. A wake of such an address is at worst a spurious wake
// of another futex user, which every futex wait tolerates.
void FutexWake(std::atomic<std::uint32_t>* word) {
  syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(word), FUTEX_WAKE | FUTEX_PRIVATE_FLAG, 1,
          nullptr, nullptr, 0);
}

// The waiter's word: the low byte is 0 while waiting, then the satisfying
// index + 1 or kTimedOut; the bits above count kicks.
constexpr std::uint32_t kResultMask = 0xFF;
constexpr std::uint32_t kTimedOut = 0xFF;
constexpr std::uint32_t kKick = 0x100;

struct Waiter {
  std::atomic<std::uint32_t> word{0};
};

// One registration of a waiter with one object, in the object's FIFO list.
struct WaitLink {
  Waiter* waiter = nullptr;
  std::uint32_t index = 0;
  WaitLink* prev = nullptr;
  WaitLink* next = nullptr;
  bool linked = false;
};

enum class Kind : std::uint8_t { kEvent, kTimer };

struct Object {
  std::mutex lock;
  std::atomic<std::uint32_t> refs{0};
  // Guarded by `lock`.
  std::uint32_t generation = 0;
  bool open = false;
  Kind kind = Kind::kEvent;
  bool autoReset = false;
  bool signalled = false;
  bool armed = false;
  std::int64_t dueNs = 0;
  WaitLink* head = nullptr;
  WaitLink* tail = nullptr;
  // Set when the chunk is made; the slot's own number.
  std::uint32_t slot = 0;
  // While the slot is free: the next free slot + 1, or 0. A pop that loses
  // its race may read it as it changes, hence atomic.
  std::atomic<std::uint32_t> nextFree{0};
};

void Link(Object& object, WaitLink& link) {
  link.prev = object.tail;
  link.next = nullptr;
  (object.tail ? object.tail->next : object.head) = &link;
  object.tail = &link;
  link.linked = true;
}

void Unlink(Object& object, WaitLink& link) {
  (link.prev ? link.prev->next : object.head) = link.next;
  (link.next ? link.next->prev : object.tail) = link.prev;
  link.linked = false;
}

// Claims the waiter of `link`, which the caller has unlinked, for its index.
// False if the waiter was satisfied elsewhere or has timed out.
bool Fire(const WaitLink& link) {
  std::atomic<std::uint32_t>* word = &link.waiter->word;
  const std::uint32_t result = link.index + 1;
  std::uint32_t old = word->load(std::memory_order_relaxed);
  do {
    if (old & kResultMask)
      return false;
  } while (!word->compare_exchange_weak(old, old | result, std::memory_order_acq_rel));
  FutexWake(word);  // `link` may be gone from here on
  return true;
}

void Signal(Object& object) {
  AssertHeld(object.lock);
  while (WaitLink* link = object.head) {
    Unlink(object, *link);
    if (Fire(*link) && object.autoReset)
      return;
  }
  object.signalled = true;
}

// A timer past its due time becomes signalled.
void Expire(Object& object, std::int64_t now) {
  AssertHeld(object.lock);
  if (object.armed && now >= object.dueNs) {
    object.armed = false;
    Signal(object);
  }
}

// Waiters recompute how long they may sleep.
void KickWaiters(Object& object) {
  AssertHeld(object.lock);
  for (WaitLink* link = object.head; link; link = link->next) {
    link->waiter->word.fetch_add(kKick, std::memory_order_release);
    FutexWake(&link->waiter->word);
  }
}

// Handle values: (generation << kIndexShift) | (slot << 1) | 1. The low bit
// keeps them apart from 0 and from real pointers; a slot field of all ones
// is never used, so INVALID_HANDLE_VALUE is never a handle.
constexpr unsigned kSlotBits = 24;
constexpr unsigned kIndexShift = kSlotBits + 1;
constexpr unsigned kGenerationBits =
    std::min<unsigned>(31, sizeof(std::uintptr_t) * 8 - kIndexShift);
constexpr std::uint32_t kGenerationMask = (1u << kGenerationBits) - 1;
constexpr std::uint32_t kChunkBits = 12;
constexpr std::uint32_t kChunkSize = 1u << kChunkBits;
constexpr std::uint32_t kMaxSlots = (1u << kSlotBits) - 1;
constexpr std::uint32_t kMaxChunks = kMaxSlots / kChunkSize + 1;

HANDLE EncodeHandle(std::uint32_t slot, std::uint32_t generation) {
  const std::uintptr_t value =
      (static_cast<std::uintptr_t>(generation & kGenerationMask) << kIndexShift) |
      (static_cast<std::uintptr_t>(slot) << 1) | 1u;
  return reinterpret_cast<HANDLE>(value);
}

class ObjectTable {
 public:
  static ObjectTable& Instance() {
    static ObjectTable table;
    return table;
  }

  // At the end of the process, pool workers may still be blocked in waits on
  // these objects (they are not joined then), and one whose wait ends would
  // read its objects once more: the chunks are left to the process.
  ~ObjectTable() {
    if (ProcessIsEnding())
      return;
    for (auto& chunk : chunks_)
      delete[] chunk.load(std::memory_order_relaxed);
  }

  // The slot `handle` points at and the generation it names, or null for a
  // value that no creation could have returned.
  Object* Find(HANDLE handle, std::uint32_t& generation) const {
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    if ((value & 1u) == 0)
      return nullptr;
    const auto slot = static_cast<std::uint32_t>((value >> 1) & kMaxSlots);
    if (slot == kMaxSlots)
      return nullptr;
    Object* chunk = chunks_[slot >> kChunkBits].load(std::memory_order_acquire);
    if (!chunk)
      return nullptr;
    generation = static_cast<std::uint32_t>(value >> kIndexShift);
    return &chunk[slot & (kChunkSize - 1)];
  }

  // A fresh open object with one reference, or 0.
  HANDLE Create(Kind kind, bool autoReset, bool signalled) {
    std::uint32_t slot;
    if (!AllocateSlot(slot))
      return nullptr;
    Object& object =
        chunks_[slot >> kChunkBits].load(std::memory_order_relaxed)[slot & (kChunkSize - 1)];
    std::lock_guard<std::mutex> hold(object.lock);
    object.generation = (object.generation + 1) & kGenerationMask;
    object.open = true;
    object.kind = kind;
    object.autoReset = autoReset;
    object.signalled = signalled;
    object.armed = false;
    object.refs.store(1, std::memory_order_relaxed);
    return EncodeHandle(slot, object.generation);
  }

  void Release(Object& object) {
    if (object.refs.fetch_sub(1, std::memory_order_acq_rel) != 1)
      return;
    std::uint64_t head = freeList_.load(std::memory_order_relaxed);
    std::uint64_t pushed;
    do {
      object.nextFree.store(static_cast<std::uint32_t>(head), std::memory_order_relaxed);
      pushed = NextChange(head) | (object.slot + 1);
    } while (!freeList_.compare_exchange_weak(head, pushed, std::memory_order_release,
                                              std::memory_order_relaxed));
  }

 private:
  ObjectTable() = default;

  // The low half of a free-list head, 0 for an empty list, else its top slot
  // + 1; the high half counts the changes. A pop whose head was popped and
  // pushed again meanwhile then fails its exchange instead of taking a stale
  // next.
  static std::uint64_t NextChange(std::uint64_t head) {
    return (head & ~std::uint64_t{0xFFFFFFFF}) + (std::uint64_t{1} << 32);
  }

  // Every task makes two events and frees them again, from different
  // threads: the free slots are a stack that needs no lock.
  bool PopFreeSlot(std::uint32_t& slot) {
    std::uint64_t head = freeList_.load(std::memory_order_acquire);
    while (static_cast<std::uint32_t>(head) != 0) {
      const std::uint32_t top = static_cast<std::uint32_t>(head) - 1;
      const std::uint32_t next = chunks_[top >> kChunkBits]
                                     .load(std::memory_order_acquire)[top & (kChunkSize - 1)]
                                     .nextFree.load(std::memory_order_relaxed);
      if (freeList_.compare_exchange_weak(head, NextChange(head) | next,
                                          std::memory_order_acquire)) {
        slot = top;
        return true;
      }
    }
    return false;
  }

  bool AllocateSlot(std::uint32_t& slot) {
    if (PopFreeSlot(slot))
      return true;
    std::lock_guard<std::mutex> hold(mutex_);
    if (used_ == chunkCount_ * kChunkSize) {
      if (chunkCount_ == kMaxChunks)
        return false;
      Object* chunk = new (std::nothrow) Object[kChunkSize];
      if (!chunk)
        return false;
      for (std::uint32_t i = 0; i < kChunkSize; ++i)
        chunk[i].slot = chunkCount_ * kChunkSize + i;
      chunks_[chunkCount_++].store(chunk, std::memory_order_release);
    }
    if (used_ == kMaxSlots)
      return false;
    slot = used_++;
    return true;
  }

  std::atomic<Object*> chunks_[kMaxChunks] = {};
  std::atomic<std::uint64_t> freeList_{0};
  // Guards the growth of the table.
  std::mutex mutex_;
  std::uint32_t chunkCount_ = 0;
  std::uint32_t used_ = 0;  // slots ever handed out, the high-water mark
};

// The open object of `kind` that a handle names, locked, or null.
class LockedObject {
 public:
  LockedObject(HANDLE handle, Kind kind) {
    std::uint32_t generation = 0;
    Object* object = ObjectTable::Instance().Find(handle, generation);
    if (!object)
      return;
    std::unique_lock<std::mutex> hold(object->lock);
    if (!object->open || object->generation != generation || object->kind != kind)
      return;
    hold_ = std::move(hold);
    object_ = object;
  }
  Object* get() const { return object_; }

 private:
  std::unique_lock<std::mutex> hold_;
  Object* object_ = nullptr;
};

// What WaitForMultipleObjects keeps while it waits: the objects, locked in
// slot-address order while it looks at them, with a reference each while it
// is registered.
class WaitList {
 public:
  // False if a handle is not open or two handles name one slot (distinct
  // values, one of them stale: locking it twice would deadlock); nothing is
  // held then.
  bool Acquire(std::uint32_t count, const HANDLE* handles) {
    count_ = count;
    std::uint32_t generations[kMaxWaitObjects];
    for (std::uint32_t i = 0; i < count; ++i) {
      objects_[i] = ObjectTable::Instance().Find(handles[i], generations[i]);
      if (!objects_[i])
        return false;
      for (std::uint32_t j = 0; j < i; ++j) {
        if (objects_[j] == objects_[i])
          return false;
      }
    }
    LockAll();
    for (std::uint32_t i = 0; i < count; ++i) {
      if (!objects_[i]->open || objects_[i]->generation != generations[i]) {
        UnlockAll();
        return false;
      }
    }
    return true;
  }

  // With all locks held: the lowest signalled index, consumed, or -1.
  int TakeSignalled(std::int64_t now) {
    for (std::uint32_t i = 0; i < count_; ++i) {
      if (objects_[i]->kind == Kind::kTimer)
        Expire(*objects_[i], now);
    }
    for (std::uint32_t i = 0; i < count_; ++i) {
      Object& object = *objects_[i];
      AssertHeld(object.lock);
      if (object.signalled) {
        if (object.autoReset)
          object.signalled = false;
        return static_cast<int>(i);
      }
    }
    return -1;
  }

  // With all locks held: links `waiter` into every object, then lets go.
  void Register(Waiter& waiter) {
    for (std::uint32_t i = 0; i < count_; ++i) {
      AssertHeld(objects_[i]->lock);
      links_[i].waiter = &waiter;
      links_[i].index = i;
      Link(*objects_[i], links_[i]);
      objects_[i]->refs.fetch_add(1, std::memory_order_relaxed);
    }
    UnlockAll();
  }

  // The earliest due time of an armed timer in the list, expiring those that
  // are due (which may satisfy this very wait).
  std::int64_t ExpireTimers(std::int64_t now, std::int64_t wake) {
    for (std::uint32_t i = 0; i < count_; ++i) {
      Object& object = *objects_[i];
      if (object.kind != Kind::kTimer)
        continue;
      std::lock_guard<std::mutex> hold(object.lock);
      Expire(object, now);
      if (object.armed)
        wake = std::min(wake, object.dueNs);
    }
    return wake;
  }

  // Unlinks the waiter wherever a signal has not done so already, and drops
  // the references. The object that satisfied the wait unlinked it itself, so
  // its lock is not needed.
  void Unregister(std::uint32_t satisfied) {
    for (std::uint32_t i = 0; i < count_; ++i) {
      Object& object = *objects_[i];
      if (i != satisfied) {
        std::lock_guard<std::mutex> hold(object.lock);
        if (links_[i].linked)
          Unlink(object, links_[i]);
      }
      ObjectTable::Instance().Release(object);
    }
  }

  void UnlockAll() {
    for (std::uint32_t i = 0; i < count_; ++i)
      objects_[i]->lock.unlock();
  }

 private:
  void LockAll() {
    Object* order[kMaxWaitObjects];
    for (std::uint32_t i = 0; i < count_; ++i) {
      std::uint32_t j = i;
      for (; j > 0 && std::less<Object*>()(objects_[i], order[j - 1]); --j)
        order[j] = order[j - 1];
      order[j] = objects_[i];
    }
    for (std::uint32_t i = 0; i < count_; ++i)
      order[i]->lock.lock();
  }

  std::uint32_t count_ = 0;
  Object* objects_[kMaxWaitObjects] = {};
  WaitLink links_[kMaxWaitObjects];
};

// Sleeps until the waiter is satisfied or `deadline` passes. Returns the
// satisfying index, or kTimedOut.
std::uint32_t Block(Waiter& waiter, WaitList& list, std::int64_t deadline) {
  for (;;) {
    std::uint32_t word = waiter.word.load(std::memory_order_acquire);
    if (word & kResultMask)
      return (word & kResultMask) - 1;
    const std::int64_t now = MonotonicNs();
    const std::int64_t wake = list.ExpireTimers(now, deadline);
    if (now >= deadline) {
      // Time is up unless a signal claims the waiter first.
      word = waiter.word.load(std::memory_order_acquire);
      while (!(word & kResultMask)) {
        if (waiter.word.compare_exchange_weak(word, word | kTimedOut, std::memory_order_acq_rel))
          return kTimedOut;
      }
      return (word & kResultMask) - 1;
    }
    FutexWait(&waiter.word, word, wake);
  }
}

}  // namespace

HANDLE CreateSystemEvent(bool manualReset, bool initiallySignalled) {
  return ObjectTable::Instance().Create(Kind::kEvent, !manualReset, initiallySignalled);
}

bool SetSystemEvent(HANDLE event) {
  LockedObject object(event, Kind::kEvent);
  if (!object.get())
    return false;
  Signal(*object.get());
  return true;
}

bool ResetSystemEvent(HANDLE event) {
  LockedObject object(event, Kind::kEvent);
  if (!object.get())
    return false;
  object.get()->signalled = false;
  return true;
}

HANDLE CreateSystemWaitableTimer() {
  return ObjectTable::Instance().Create(Kind::kTimer, true, false);
}

bool SetSystemWaitableTimer(HANDLE timer, std::int64_t dueTime) {
  LockedObject locked(timer, Kind::kTimer);
  Object* object = locked.get();
  if (!object)
    return false;
  const std::int64_t now = MonotonicNs();
  if (dueTime < 0) {
    object->dueNs = AddHundredNs(now, 0 - static_cast<std::uint64_t>(dueTime));
  } else {
    // Absolute: 100 ns units since 1601-01-01 UTC, taken against the time of
    // day once, then held on the monotonic clock.
    constexpr std::int64_t k1601To1970 = 116444736000000000;
    timespec wall;
    clock_gettime(CLOCK_REALTIME, &wall);
    const std::int64_t wallNow = k1601To1970 + wall.tv_sec * 10000000ll + wall.tv_nsec / 100;
    object->dueNs =
        dueTime <= wallNow ? now : AddHundredNs(now, static_cast<std::uint64_t>(dueTime - wallNow));
  }
  object->signalled = false;
  object->armed = true;
  Expire(*object, now);
  KickWaiters(*object);
  return true;
}

bool CloseSystemHandle(HANDLE handle) {
  std::uint32_t generation = 0;
  Object* object = ObjectTable::Instance().Find(handle, generation);
  if (!object)
    return false;
  {
    std::lock_guard<std::mutex> hold(object->lock);
    if (!object->open || object->generation != generation)
      return false;
    object->open = false;
  }
  ObjectTable::Instance().Release(*object);
  return true;
}

std::uint32_t WaitForSystemObjects(std::uint32_t count,
                                   const HANDLE* objects,
                                   std::uint32_t milliseconds) {
  WaitList list;
  if (!list.Acquire(count, objects))
    return WAIT_FAILED;
  const std::int64_t now = MonotonicNs();
  const int signalled = list.TakeSignalled(now);
  if (signalled >= 0 || milliseconds == 0) {
    list.UnlockAll();
    return signalled >= 0 ? WAIT_OBJECT_0 + static_cast<std::uint32_t>(signalled) : WAIT_TIMEOUT;
  }
  Waiter waiter;
  list.Register(waiter);
  const std::int64_t deadline =
      milliseconds == INFINITE ? kNever : AddHundredNs(now, std::uint64_t{milliseconds} * 10000);
  std::uint32_t result;
  {
    ScopedBlockingWait blocking;  // a pool worker lets queued items go to another
    result = Block(waiter, list, deadline);
  }
  list.Unregister(result);
  return result == kTimedOut ? WAIT_TIMEOUT : WAIT_OBJECT_0 + result;
}

namespace testing {

unsigned WaitersOf(HANDLE handle) {
  std::uint32_t generation = 0;
  Object* object = ObjectTable::Instance().Find(handle, generation);
  if (!object)
    return 0;
  std::lock_guard<std::mutex> hold(object->lock);
  if (!object->open || object->generation != generation)
    return 0;
  unsigned count = 0;
  for (const WaitLink* link = object->head; link; link = link->next)
    ++count;
  return count;
}

}  // namespace testing
}  // namespace base::platform

extern "C" {

HANDLE CreateEventW(void*, BOOL manualReset, BOOL initialState, const wchar_t* name) {
  if (name)
    return nullptr;  // named events are not supported
  return base::platform::CreateEvent(manualReset != FALSE, initialState != FALSE);
}

BOOL SetEvent(HANDLE event) {
  return base::platform::SetEvent(event) ? TRUE : FALSE;
}

BOOL ResetEvent(HANDLE event) {
  return base::platform::ResetEvent(event) ? TRUE : FALSE;
}

BOOL CloseHandle(HANDLE object) {
  return base::platform::CloseHandle(object) ? TRUE : FALSE;
}

DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds) {
  return base::platform::WaitForSingleObject(object, milliseconds);
}

}  // extern "C"
