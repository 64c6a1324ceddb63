// The library's code in a module of its own, loaded and unloaded again and
// again: windows, timers, host descriptors and posters' threads must not keep
// it mapped, and each load must start from nothing.
#include <dirent.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

int g_exitReports = 0;
bool g_destroyedAtExit = false;

void OnExitEntry(bool destroyed) {
  ++g_exitReports;
  g_destroyedAtExit = destroyed;
}

int OpenDescriptors() {
  int count = 0;
  if (DIR* dir = opendir("/proc/self/fd")) {
    while (readdir(dir))
      ++count;
    closedir(dir);
  }
  return count;
}

constexpr std::chrono::seconds kWaitLimit{10};

// A thread that posts once and then stays until released, past the unload.
// Its destructor releases and joins it, so an ASSERT that leaves the test
// early is reported as a failure instead of std::terminate on a joinable
// thread.
class Lingerer {
 public:
  explicit Lingerer(bool (*post)()) : thread_([this, post] { Run(post); }) {}
  Lingerer(const Lingerer&) = delete;
  Lingerer& operator=(const Lingerer&) = delete;
  ~Lingerer() { Finish(); }

  // Whether the thread has posted, successfully, within the bound.
  bool WaitPosted() {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, kWaitLimit, [this] { return waiting_; }) && posted_;
  }

  // Releases the thread and joins it.
  void Finish() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      released_ = true;
      changed_.notify_all();
    }
    if (thread_.joinable())
      thread_.join();
  }

 private:
  void Run(bool (*post)()) {
    const bool ok = post();
    std::unique_lock<std::mutex> lock(mutex_);
    posted_ = ok;
    waiting_ = true;
    changed_.notify_all();
    changed_.wait_for(lock, kWaitLimit, [this] { return released_; });
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool posted_ = false;
  bool waiting_ = false;
  bool released_ = false;
  std::thread thread_;  // last: it starts once the members it uses exist
};

template <typename Entry>
Entry Find(void* module, const char* name) {
  return reinterpret_cast<Entry>(dlsym(module, name));
}

TEST(MessageUnloadTest, UnloadRunsTheExitTableFreesAllAndUnmaps) {
  const int descriptorsBefore = OpenDescriptors();
  for (int round = 0; round < 5; ++round) {
    SCOPED_TRACE(round);
    void* module = dlopen(BASE_MESSAGE_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    const auto open = Find<int (*)(void (*)(bool))>(module, "BaseTestOpenWindow");
    const auto post = Find<bool (*)()>(module, "BaseTestPost");
    const auto pump = Find<int (*)()>(module, "BaseTestPump");
    ASSERT_TRUE(open && post && pump);
    ASSERT_EQ(open(&OnExitEntry), 0);

    // A poster that ends before the unload, and one that outlives it: the
    // latter's thread exit must not call into the unmapped code.
    bool posted = false;
    std::thread([&] { posted = post(); }).join();
    EXPECT_TRUE(posted);
    Lingerer lingerer(post);
    ASSERT_TRUE(lingerer.WaitPosted());
    EXPECT_EQ(pump(), 3);  // two posts and the timer

    g_exitReports = 0;
    g_destroyedAtExit = false;
    ASSERT_EQ(dlclose(module), 0);
    EXPECT_EQ(g_exitReports, 1);
    EXPECT_TRUE(g_destroyedAtExit);
    EXPECT_EQ(dlopen(BASE_MESSAGE_MODULE_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr);
    lingerer.Finish();
    EXPECT_EQ(OpenDescriptors(), descriptorsBefore);
  }
}

}  // namespace
