// Allocate/get/close cycles of the handle pools against the container a user
// would otherwise reach for: an unordered_map from number to pointer with the
// same bookkeeping (a FIFO of closed numbers, a counter of new ones, the cap).
// A third row runs the same cycle through three functions that do nothing,
// called as the pools are, out of line: the floor of any pool behind a call.
// At the end the binary prints how many times faster than the map each row
// is (medians when run with --benchmark_repetitions). Compare the rows of one
// run; absolute times on a shared machine are noise.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <deque>
#include <unordered_map>
#include <vector>

#include "base/handle_pool.h"
#include "median_times.h"

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

// Calls that take the pools' arguments and do nothing; noipa keeps them calls
// and keeps the optimiser from learning anything about them.
struct EmptyPool {
  __attribute__((noipa)) unsigned int AllocateHandle(void*, unsigned int*) { return 0; }
  __attribute__((noipa)) void* Get(unsigned int) { return nullptr; }
  __attribute__((noipa)) void CloseHandle(unsigned int) {}
};

void BM_CallFloor(benchmark::State& state) {
  EmptyPool pool;
  RunCycles(state, pool, [](EmptyPool& p, unsigned int h) { return p.Get(h); });
}

BENCHMARK(BM_HandlePool);
BENCHMARK(BM_GlobalHandlePool);
BENCHMARK(BM_UnorderedMapPool);
BENCHMARK(BM_CallFloor);

// Prints the console report, then the map's time over each other row's.
class RatioReporter : public base::bench::MedianTimesReporter {
 public:
  void Finalize() override {
    ConsoleReporter::Finalize();
    const double map = Time("BM_UnorderedMapPool");
    std::printf("\nTimes faster than the unordered_map (CPU time, higher is better):\n");
    for (const char* row : {"BM_HandlePool", "BM_GlobalHandlePool", "BM_CallFloor"}) {
      if (map > 0 && Time(row) > 0)
        std::printf("  %-20s %5.2fx\n", row + 3, map / Time(row));
    }
  }
};

}  // namespace

int main(int argc, char** argv) {
  RatioReporter reporter;
  return base::bench::RunBenchmarks(argc, argv, reporter);
}
