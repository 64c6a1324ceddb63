// Allocate/get/close cycles of the handle pools against the container a user
// would otherwise reach for: an unordered_map from number to pointer with the
// same bookkeeping (a FIFO of closed numbers, a counter of new ones, the cap).
// Compare the rows of one run; absolute times on a shared machine are noise.
#include <benchmark/benchmark.h>

#include <deque>
#include <unordered_map>
#include <vector>

#include "base/handle_pool.h"

namespace {

constexpr unsigned int kLive = 1024;  // handles alive at once in each cycle

class MapHandlePool {
 public:
  unsigned int AllocateHandle(void* object, unsigned int* handle) {
    if (object == nullptr || handle == nullptr)
      return HandleResultOk;
    *handle = 0;
    unsigned int number;
    if (!free_.empty()) {
      number = free_.front();
      free_.pop_front();
    } else if (next_ - HandleBase >= HandleCount) {
      return HandleResultExhausted;
    } else {
      number = next_++;
    }
    objects_[number] = object;
    *handle = number;
    return HandleResultOk;
  }
  void* Get(unsigned int handle) const {
    const auto it = objects_.find(handle);
    return it == objects_.end() ? nullptr : it->second;
  }
  void CloseHandle(unsigned int handle) {
    if (objects_.erase(handle) != 0)
      free_.push_back(handle);
  }

 private:
  std::unordered_map<unsigned int, void*> objects_;
  std::deque<unsigned int> free_;
  unsigned int next_ = HandleBase;
};

int g_objects[kLive];

template <typename Pool, typename GetObject>
void RunCycles(benchmark::State& state, Pool& pool, GetObject get) {
  std::vector<unsigned int> handles(kLive);
  for (auto _ : state) {
    for (unsigned int i = 0; i < kLive; ++i)
      pool.AllocateHandle(&g_objects[i], &handles[i]);
    for (unsigned int i = 0; i < kLive; ++i)
      benchmark::DoNotOptimize(get(pool, handles[i]));
    for (unsigned int i = 0; i < kLive; ++i)
      pool.CloseHandle(handles[i]);
  }
  state.SetItemsProcessed(state.iterations() * kLive);
}

void BM_HandlePool(benchmark::State& state) {
  handlepoolobject pool;
  RunCycles(state, pool, [](handlepoolobject& p, unsigned int h) {
    st_handle_entry e;
    p.GetEntry(h, &e);
    return e.object;
  });
}

struct GlobalPool {
  unsigned int AllocateHandle(void* object, unsigned int* handle) {
    return GlobalHandleAllocateHandle(object, handle);
  }
  void CloseHandle(unsigned int handle) { GlobalHandleCloseHandle(handle); }
};

void BM_GlobalHandlePool(benchmark::State& state) {
  GlobalPool pool;
  RunCycles(state, pool, [](GlobalPool&, unsigned int h) {
    st_handle_entry e;
    GlobalHandleGetEntry(h, &e);
    return e.object;
  });
}

void BM_UnorderedMapPool(benchmark::State& state) {
  MapHandlePool pool;
  RunCycles(state, pool, [](MapHandlePool& p, unsigned int h) { return p.Get(h); });
}

BENCHMARK(BM_HandlePool);
BENCHMARK(BM_GlobalHandlePool);
BENCHMARK(BM_UnorderedMapPool);

}  // namespace

BENCHMARK_MAIN();
