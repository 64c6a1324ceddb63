// The library's code in a module of its own, loaded and unloaded again and
// again: windows, timers, host descriptors and posters' threads must not keep
// it mapped, and each load must start from nothing.
#include <dirent.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

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
    std::mutex mutex;
    std::condition_variable changed;
    bool lingererPosted = false;
    bool lingererWaits = false;
    bool unloaded = false;
    std::thread lingerer([&] {
      const bool ok = post();
      std::unique_lock<std::mutex> lock(mutex);
      lingererPosted = ok;
      lingererWaits = true;
      changed.notify_all();
      changed.wait(lock, [&] { return unloaded; });
    });
    {
      std::unique_lock<std::mutex> lock(mutex);
      changed.wait(lock, [&] { return lingererWaits; });
    }
    EXPECT_TRUE(lingererPosted);
    EXPECT_EQ(pump(), 3);  // two posts and the timer

    g_exitReports = 0;
    g_destroyedAtExit = false;
    ASSERT_EQ(dlclose(module), 0);
    EXPECT_EQ(g_exitReports, 1);
    EXPECT_TRUE(g_destroyedAtExit);
    EXPECT_EQ(dlopen(BASE_MESSAGE_MODULE_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr);
    {
      std::lock_guard<std::mutex> lock(mutex);
      unloaded = true;
    }
    changed.notify_all();
    lingerer.join();
    EXPECT_EQ(OpenDescriptors(), descriptorsBefore);
  }
}

}  // namespace
