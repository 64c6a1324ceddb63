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
const std::vector<ExitCallBackFunc> kF = [] {
  std::vector<ExitCallBackFunc> v{&Callback<0>, &Callback<1>, &Callback<2>};
  std::sort(v.begin(), v.end(), [](ExitCallBackFunc a, ExitCallBackFunc b) {
    return reinterpret_cast<std::uintptr_t>(a) < reinterpret_cast<std::uintptr_t>(b);
  });
  return v;
}();
int g_a, g_b;

class ExitNotifyTest : public ::testing::Test {
 protected:
  void TearDown() override {
    for (ExitCallBackFunc fn : kF) {
      RemoveExitCallBack(fn);
      RemoveExitSaveDataCallBack(fn);
    }
    g_hooks.clear();
    g_calls.clear();
  }
};

TEST_F(ExitNotifyTest, OneEntryPerFunctionInAddressOrderPerList) {
  NotifyExit();
  RemoveExitCallBack(kF[0]);     // never added: no error
  AddExitCallBack(kF[2], &g_a);  // highest address first
  AddExitCallBack(kF[1], &g_a);
  AddExitCallBack(kF[0], &g_a);
  AddExitCallBack(kF[1], &g_b);  // replaces the argument
  AddExitSaveDataCallBack(kF[1], &g_a);

  NotifyExit();
  NotifyExit();                // a firing leaves the list as it was
  NotifySaveDataBeforeExit();  // the other list, with its own argument
  EXPECT_EQ(g_calls, (Calls{{kF[0], &g_a},
                            {kF[1], &g_b},
                            {kF[2], &g_a},
                            {kF[0], &g_a},
                            {kF[1], &g_b},
                            {kF[2], &g_a},
                            {kF[1], &g_a}}));
}

TEST_F(ExitNotifyTest, ChangesDuringAFiringApplyFromTheNextOne) {
  AddExitCallBack(kF[0], nullptr);
  AddExitCallBack(kF[2], nullptr);
  g_hooks[kF[0]] = [] {
    RemoveExitCallBack(kF[2]);
    RemoveExitCallBack(kF[0]);
    AddExitCallBack(kF[1], nullptr);
  };
  NotifyExit();
  NotifyExit();
  EXPECT_EQ(g_calls, (Calls{{kF[0], nullptr}, {kF[2], nullptr}, {kF[1], nullptr}}));
}

TEST_F(ExitNotifyTest, ExceptionOutOfACallbackEndsTheFiring) {
  for (ExitCallBackFunc fn : kF)
    AddExitSaveDataCallBack(fn, nullptr);
  g_hooks[kF[1]] = [] { throw std::runtime_error("save failed"); };
  EXPECT_THROW(NotifySaveDataBeforeExit(), std::runtime_error);
  EXPECT_EQ(g_calls, (Calls{{kF[0], nullptr}, {kF[1], nullptr}}));
}

}  // namespace
