// Post-to-dispatch of a message across threads, against the hand-off a user
// would otherwise write: a std::deque under std::mutex with a
// std::condition_variable per receiving thread.
//
// Latency: a ping-pong between two threads, each waiting for the other's
// message; one iteration is a round trip, so two hand-offs. Throughput: one
// thread posts a burst, the other dispatches and answers each message; one
// iteration is a burst.
// Compare the pairs by ratio; absolute times on a shared machine are noise.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <future>
#include <mutex>
#include <thread>

#include "base/message_loop.h"
#include "platform/message_window.h"

namespace {

using base::platform::WindowHandle;

constexpr std::uint32_t kPing = base::platform::kMessageUser + 1;
constexpr std::uint32_t kPong = base::platform::kMessageUser + 2;
constexpr std::uint32_t kStop = base::platform::kMessageUser + 3;
constexpr int kBurst = 1000;

// --- the library's message windows -----------------------------------------

// Word 0 holds the window to answer, or 0 for a window that only counts.
std::intptr_t EchoProcedure(WindowHandle window,
                            std::uint32_t message,
                            std::uintptr_t wparam,
                            std::intptr_t lparam) {
  using namespace base::platform;
  switch (message) {
    case kMessageCreate:
      SetWindowWord0(window, reinterpret_cast<std::intptr_t>(CreationParameter(lparam)));
      return 0;
    case kPing:
      if (auto* peer = reinterpret_cast<WindowHandle*>(GetWindowWord0(window)))
        PostWindowMessage(*peer, kPong, wparam, 0);
      return 0;
    case kPong:
      *reinterpret_cast<std::uintptr_t*>(GetWindowWord0(window)) = wparam;
      return 0;
    case kStop:
      base::QuitMessageLoop();
      return 0;
    default:
      return DefaultWindowProcedure(window, message, wparam, lparam);
  }
}

// A thread that owns one echo window and runs the message loop.
class EchoThread {
 public:
  explicit EchoThread(WindowHandle* answerTo) {
    std::promise<WindowHandle> made;
    std::future<WindowHandle> window = made.get_future();
    thread_ = std::thread([&made, answerTo] {
      made.set_value(base::platform::CreateMessageWindow(L"bench echo", L"", answerTo));
      base::RunMessageLoop();
    });
    window_ = window.get();
  }
  ~EchoThread() {
    base::platform::PostWindowMessage(window_, kStop, 0, 0);
    thread_.join();  // its window goes with the thread
  }
  WindowHandle window() const { return window_; }

 private:
  std::thread thread_;
  WindowHandle window_ = nullptr;
};

void RegisterEchoClass() {
  static const bool registered = base::platform::RegisterWindowClass(L"bench echo", EchoProcedure);
  (void)registered;
}

// This thread's window, which counts answers, and an echo thread's window.
class EchoPair {
 public:
  EchoPair()
      : self_((RegisterEchoClass(),
               base::platform::CreateMessageWindow(L"bench echo", L"", &lastPong_))),
        echo_(&self_) {}
  ~EchoPair() { base::platform::DestroyMessageWindow(self_); }

  // Sends `pings` pings and waits for the answer to the last one; every ping
  // is answered, so the exchange ends with the whole burst handed over twice.
  void Exchange(int pings) {
    for (int i = 1; i < pings; ++i)
      base::platform::PostWindowMessage(echo_.window(), kPing, 0, 0);
    base::platform::PostWindowMessage(echo_.window(), kPing, ++sequence_, 0);
    while (lastPong_ != sequence_)
      base::PumpMessages(0xFFFFFFFFu);
  }

 private:
  std::uintptr_t lastPong_ = 0;
  std::uintptr_t sequence_ = 0;
  WindowHandle self_;
  EchoThread echo_;
};

void BM_MessageWindowRoundTrip(benchmark::State& state) {
  EchoPair pair;
  for (auto _ : state)
    pair.Exchange(1);
}
BENCHMARK(BM_MessageWindowRoundTrip)->UseRealTime();

void BM_MessageWindowBurst(benchmark::State& state) {
  EchoPair pair;
  for (auto _ : state)
    pair.Exchange(kBurst);
  state.SetItemsProcessed(state.iterations() * kBurst);
}
BENCHMARK(BM_MessageWindowBurst)->UseRealTime();

// --- the peer: mutex + condition variable queues ------------------------------

class HandOffQueue {
 public:
  void Push(std::uintptr_t value) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      items_.push_back(value);
    }
    ready_.notify_one();
  }
  std::uintptr_t Pop() {
    std::unique_lock<std::mutex> lock(mutex_);
    ready_.wait(lock, [this] { return !items_.empty(); });
    const std::uintptr_t value = items_.front();
    items_.pop_front();
    return value;
  }

 private:
  std::mutex mutex_;
  std::condition_variable ready_;
  std::deque<std::uintptr_t> items_;
};

// Echoes every value; UINTPTR_MAX stops it.
class CvEchoThread {
 public:
  explicit CvEchoThread(HandOffQueue& answerTo)
      : thread_([this, &answerTo] {
          for (;;) {
            const std::uintptr_t value = in_.Pop();
            if (value == UINTPTR_MAX)
              return;
            answerTo.Push(value);
          }
        }) {}
  ~CvEchoThread() {
    in_.Push(UINTPTR_MAX);
    thread_.join();
  }
  HandOffQueue& in() { return in_; }

 private:
  HandOffQueue in_;
  std::thread thread_;
};

void BM_CondVarRoundTrip(benchmark::State& state) {
  HandOffQueue back;
  CvEchoThread echo(back);
  std::uintptr_t sequence = 0;
  for (auto _ : state) {
    echo.in().Push(++sequence);
    while (back.Pop() != sequence) {
    }
  }
}
BENCHMARK(BM_CondVarRoundTrip)->UseRealTime();

void BM_CondVarBurst(benchmark::State& state) {
  HandOffQueue back;
  CvEchoThread echo(back);
  std::uintptr_t sequence = 0;
  for (auto _ : state) {
    for (int i = 1; i < kBurst; ++i)
      echo.in().Push(0);
    echo.in().Push(++sequence);
    while (back.Pop() != sequence) {
    }
  }
  state.SetItemsProcessed(state.iterations() * kBurst);
}
BENCHMARK(BM_CondVarBurst)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
