// The end of a process whose tasks still wait: nothing joins them, so the
// process ends as main returns.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>

#include "support/wait_until.h"

extern char** environ;

namespace {

TEST(ProcessExitTest, ReturnFromMainWithTasksAsleepEndsTheProcess) {
  char path[] = BASE_THREAD_EXIT_CHILD_PATH;
  char* argv[] = {path, nullptr};
  pid_t child = 0;
  ASSERT_EQ(posix_spawn(&child, path, nullptr, nullptr, argv, environ), 0);
  int status = 0;
  const bool ended = static_cast<bool>(
      base::testing::WaitUntil([&] { return waitpid(child, &status, WNOHANG) == child; },
                               "the child to end", std::chrono::seconds(20)));
  if (!ended) {
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
  }
  ASSERT_TRUE(ended);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 7);
}

}  // namespace
