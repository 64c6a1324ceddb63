#include "base/exit_notify.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

// What each firing called: which callback, with which argument.
std::vector<std::pair<int, void*>> g_calls;
std::function<void()> g_hooks[3];

template <int N>
void Callback(void* param) {
  g_calls.emplace_back(N, param);
  if (g_hooks[N])
    g_hooks[N]();
}

const ExitCallBackFunc kCallbacks[3] = {&Callback<0>, &Callback<1>, &Callback<2>};

// The indices of kCallbacks in ascending order of address: the firing order.
std::vector<int> AddressOrder() {
  std::vector<int> order{0, 1, 2};
  std::sort(order.begin(), order.end(), [](int a, int b) {
    return reinterpret_cast<std::uintptr_t>(kCallbacks[a]) <
           reinterpret_cast<std::uintptr_t>(kCallbacks[b]);
  });
  return order;
}

std::vector<int> CalledIndices() {
  std::vector<int> indices;
  for (const auto& call : g_calls)
    indices.push_back(call.first);
  return indices;
}

int g_argA, g_argB;

class ExitNotifyTest : public ::testing::Test {
 protected:
  void TearDown() override {
    for (ExitCallBackFunc f : kCallbacks) {
      RemoveExitCallBack(f);
      RemoveExitSaveDataCallBack(f);
    }
    for (auto& hook : g_hooks)
      hook = nullptr;
    g_calls.clear();
  }
};

TEST_F(ExitNotifyTest, OneEntryPerFunctionCalledInAddressOrder) {
  NotifyExit();
  RemoveExitCallBack(kCallbacks[0]);  // never added: no error
  EXPECT_TRUE(g_calls.empty());

  const std::vector<int> order = AddressOrder();
  // Added highest address first, to tell address order from insertion order.
  for (auto it = order.rbegin(); it != order.rend(); ++it)
    AddExitCallBack(kCallbacks[*it], &g_argA);
  AddExitCallBack(kCallbacks[order[1]], &g_argB);  // replaces, does not add

  NotifyExit();
  NotifyExit();  // firing leaves the list as it was
  const std::vector<int> twice{order[0], order[1], order[2], order[0], order[1], order[2]};
  EXPECT_EQ(CalledIndices(), twice);
  EXPECT_EQ(g_calls[0].second, &g_argA);
  EXPECT_EQ(g_calls[1].second, &g_argB);
}

TEST_F(ExitNotifyTest, TheTwoListsAreIndependent) {
  AddExitCallBack(kCallbacks[0], &g_argA);
  AddExitSaveDataCallBack(kCallbacks[0], &g_argB);
  AddExitSaveDataCallBack(kCallbacks[1], &g_argB);

  NotifySaveDataBeforeExit();
  ASSERT_EQ(g_calls.size(), 2u);
  EXPECT_EQ(g_calls[0].second, &g_argB);
  EXPECT_EQ(g_calls[1].second, &g_argB);

  g_calls.clear();
  RemoveExitSaveDataCallBack(kCallbacks[0]);
  NotifyExit();
  EXPECT_EQ(g_calls, (std::vector<std::pair<int, void*>>{{0, &g_argA}}));
}

TEST_F(ExitNotifyTest, ChangesDuringAFiringApplyFromTheNextOne) {
  const std::vector<int> order = AddressOrder();
  const int first = order[0], middle = order[1], last = order[2];
  AddExitCallBack(kCallbacks[first], nullptr);
  AddExitCallBack(kCallbacks[last], nullptr);
  // The first removes the one behind it and itself, and adds a new one.
  g_hooks[first] = [&] {
    RemoveExitCallBack(kCallbacks[last]);
    RemoveExitCallBack(kCallbacks[first]);
    AddExitCallBack(kCallbacks[middle], nullptr);
  };

  NotifyExit();
  EXPECT_EQ(CalledIndices(), (std::vector<int>{first, last}));
  g_calls.clear();
  NotifyExit();
  EXPECT_EQ(CalledIndices(), (std::vector<int>{middle}));
}

TEST_F(ExitNotifyTest, ExceptionOutOfACallbackEndsTheFiring) {
  const std::vector<int> order = AddressOrder();
  for (int i : order)
    AddExitSaveDataCallBack(kCallbacks[i], nullptr);
  g_hooks[order[1]] = [] { throw std::runtime_error("save failed"); };
  EXPECT_THROW(NotifySaveDataBeforeExit(), std::runtime_error);
  EXPECT_EQ(CalledIndices(), (std::vector<int>{order[0], order[1]}));

  // The list itself is untouched by the failed firing.
  g_hooks[order[1]] = nullptr;
  g_calls.clear();
  NotifySaveDataBeforeExit();
  EXPECT_EQ(CalledIndices(), order);
}

}  // namespace
