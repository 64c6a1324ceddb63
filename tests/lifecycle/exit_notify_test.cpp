#include "base/exit_notify.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

using Calls = std::vector<std::pair<ExitCallBackFunc, void*>>;
Calls g_calls;
std::map<ExitCallBackFunc, std::function<void()>> g_hooks;

template <int N>
void Callback(void* param) {
  g_calls.emplace_back(&Callback<N>, param);
  if (auto hook = g_hooks[&Callback<N>])
    hook();
}

// Three callbacks in ascending order of address: the order of every firing.
const std::vector<ExitCallBackFunc> f = [] {
  std::vector<ExitCallBackFunc> v{&Callback<0>, &Callback<1>, &Callback<2>};
  std::sort(v.begin(), v.end(), [](ExitCallBackFunc a, ExitCallBackFunc b) {
    return reinterpret_cast<std::uintptr_t>(a) < reinterpret_cast<std::uintptr_t>(b);
  });
  return v;
}();
int A, B;

class ExitNotifyTest : public ::testing::Test {
 protected:
  void TearDown() override {
    for (ExitCallBackFunc fn : f) {
      RemoveExitCallBack(fn);
      RemoveExitSaveDataCallBack(fn);
    }
    g_hooks.clear();
    g_calls.clear();
  }
};

TEST_F(ExitNotifyTest, OneEntryPerFunctionInAddressOrderPerList) {
  NotifyExit();
  RemoveExitCallBack(f[0]);   // never added: no error
  AddExitCallBack(f[2], &A);  // highest address first
  AddExitCallBack(f[1], &A);
  AddExitCallBack(f[0], &A);
  AddExitCallBack(f[1], &B);  // replaces the argument
  AddExitSaveDataCallBack(f[1], &A);

  NotifyExit();
  NotifyExit();                // a firing leaves the list as it was
  NotifySaveDataBeforeExit();  // the other list, with its own argument
  EXPECT_EQ(
      g_calls,
      (Calls{{f[0], &A}, {f[1], &B}, {f[2], &A}, {f[0], &A}, {f[1], &B}, {f[2], &A}, {f[1], &A}}));
}

TEST_F(ExitNotifyTest, ChangesDuringAFiringApplyFromTheNextOne) {
  AddExitCallBack(f[0], nullptr);
  AddExitCallBack(f[2], nullptr);
  g_hooks[f[0]] = [] {
    RemoveExitCallBack(f[2]);
    RemoveExitCallBack(f[0]);
    AddExitCallBack(f[1], nullptr);
  };
  NotifyExit();
  NotifyExit();
  EXPECT_EQ(g_calls, (Calls{{f[0], nullptr}, {f[2], nullptr}, {f[1], nullptr}}));
}

TEST_F(ExitNotifyTest, ExceptionOutOfACallbackEndsTheFiring) {
  for (ExitCallBackFunc fn : f)
    AddExitSaveDataCallBack(fn, nullptr);
  g_hooks[f[1]] = [] { throw std::runtime_error("save failed"); };
  EXPECT_THROW(NotifySaveDataBeforeExit(), std::runtime_error);
  EXPECT_EQ(g_calls, (Calls{{f[0], nullptr}, {f[1], nullptr}}));
}

}  // namespace
