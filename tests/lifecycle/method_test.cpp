#include "base/method.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <memory>
#include <thread>

namespace {

struct Probe {
  std::atomic<int> invoked{0}, destroyed{0};
  std::atomic<bool> valid{true};
  std::thread::id destroyedOn;
};

struct ProbeTarget : MethodTarget {
  explicit ProbeTarget(Probe* probe) : probe(probe) {}
  ~ProbeTarget() override {
    probe->destroyedOn = std::this_thread::get_id();
    ++probe->destroyed;
  }
  bool IsValid() override { return probe->valid; }
  void Invoke() override { ++probe->invoked; }
  Probe* probe;
};

TEST(MethodTest, TargetLivesExactlyAsLongAsItsCopies) {
  const Method<void()> empty;
  Method<void()>(empty).Run();

  Probe probe;
  {
    Method<void()> a(new ProbeTarget(&probe));
    Method<void()> b(a);
    b = a;  // same target: a count taken here would never be given back
    a.Run();
    a = empty;
    EXPECT_EQ(probe.destroyed, 0);
    probe.valid = false;
    b.Run();  // an invalid target is not invoked, yet still dies below
  }
  EXPECT_EQ(probe.invoked, 1);
  EXPECT_EQ(probe.destroyed, 1);
}

// The source of an assignment may be owned by the target being let go.
struct Holder : MethodTarget {
  explicit Holder(const Method<void()>& m) : inner(m) {}
  void Invoke() override {}
  Method<void()> inner;
};

TEST(MethodTest, AssignFromInsideTheReleasedTarget) {
  Probe probe;
  auto* holder = new Holder(Method<void()>(new ProbeTarget(&probe)));
  Method<void()> m(holder);
  m = holder->inner;  // frees holder, and with it the source of the copy
  m.Run();
  EXPECT_EQ(probe.invoked, 1);
  EXPECT_EQ(probe.destroyed, 0);
}

TEST(MethodTest, LastCopyReleasedOnAnotherThread) {
  Probe probe;
  Method<void()> m(new ProbeTarget(&probe));
  m.Run();
  std::promise<void> mainDropped;
  std::thread worker([copy = m, dropped = mainDropped.get_future()]() mutable {
    for (int i = 0; i < 10000; ++i)  // races the main thread's copies
      Method<void()>(copy).Run();
    EXPECT_EQ(dropped.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    copy = Method<void()>();
  });
  for (int i = 0; i < 10000; ++i)
    Method<void()>(m).Run();
  const std::thread::id workerId = worker.get_id();
  m = Method<void()>();
  mainDropped.set_value();
  worker.join();
  EXPECT_EQ(probe.destroyed, 1);
  EXPECT_EQ(probe.destroyedOn, workerId);
}

TEST(MethodTest, MadeDelegates) {
  int runs = 0;
  MakeMethod([&runs] { ++runs; }).Run();
  EXPECT_EQ(runs, 1);
  EXPECT_TRUE(MakeMethodWithId([] {}).NeedsId());

  struct Owner {
    int hits = 0;
    void Hit() { ++hits; }
  };
  auto owner = std::make_shared<Owner>();
  Method<void()> weak = MakeWeakMethod(std::weak_ptr<Owner>(owner), &Owner::Hit);
  weak.Run();
  EXPECT_EQ(owner->hits, 1);
  EXPECT_EQ(owner.use_count(), 1);  // the delegate does not keep its owner
  owner.reset();
  EXPECT_FALSE(weak.IsValid());
  weak.Run();
}

#if defined(__GNUC__) && !defined(_WIN32)
// Modules built apart call these through the vtable. Under the Itanium ABI a
// pointer to a virtual member holds 1 + the slot's byte offset; the
// destructor takes slots 0 and 1.
template <typename M>
std::size_t SlotOf(M member) {
  std::uintptr_t raw;
  std::memcpy(&raw, &member, sizeof raw);
  return (raw - 1) / sizeof(void*);
}

TEST(MethodTest, VirtualSlotOrderIsFixed) {
  EXPECT_EQ(SlotOf(&MethodTarget::NeedsId), 2u);
  EXPECT_EQ(SlotOf(&MethodTarget::IsValid), 3u);
  EXPECT_EQ(SlotOf(&MethodTarget::Reserved), 4u);
  EXPECT_EQ(SlotOf(&MethodTarget::Invoke), 5u);
}
#endif

}  // namespace
