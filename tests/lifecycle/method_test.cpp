#include "base/method.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <future>
#include <memory>
#include <thread>
#include <vector>

namespace {

// Records what happens to it in counters that outlive it.
struct Probe {
  std::atomic<int> invoked{0};
  std::atomic<int> destroyed{0};
  std::atomic<bool> valid{true};
  std::thread::id destroyedOn;
};

class ProbeTarget : public MethodTarget {
 public:
  explicit ProbeTarget(Probe* probe) : probe_(probe) {}
  ~ProbeTarget() override {
    probe_->destroyedOn = std::this_thread::get_id();
    ++probe_->destroyed;
  }
  bool IsValid() override { return probe_->valid; }
  void Invoke() override { ++probe_->invoked; }

 private:
  Probe* probe_;
};

TEST(MethodTest, EmptyDelegateTouchesNothing) {
  Method<void()> empty;
  Method<void()> copy(empty);
  Method<void()> assigned;
  assigned = copy;
  EXPECT_TRUE(assigned.IsEmpty());
  EXPECT_FALSE(assigned.IsValid());
  EXPECT_FALSE(assigned.NeedsId());
  assigned.Run();  // no target: nothing to call, nothing to crash on

  // Assigning an empty delegate releases the target that was held.
  Probe probe;
  Method<void()> held(new ProbeTarget(&probe));
  held = empty;
  EXPECT_TRUE(held.IsEmpty());
  EXPECT_EQ(probe.destroyed, 1);
  EXPECT_EQ(probe.invoked, 0);
}

TEST(MethodTest, TargetDiesWithItsLastCopyOnly) {
  Probe probe;
  {
    Method<void()> a(new ProbeTarget(&probe));
    Method<void()> b(a);
    Method<void()> c;
    c = a;
    b = a;  // same target: no count may change
    c = c;
    a.Run();
    b.Run();
    EXPECT_EQ(probe.invoked, 2);
    { Method<void()> drop(std::move(c)); }  // a copy, not a steal: c still holds
    EXPECT_FALSE(c.IsEmpty());
    a = Method<void()>();
    b = Method<void()>();
    EXPECT_EQ(probe.destroyed, 0);
  }
  EXPECT_EQ(probe.destroyed, 1);
}

TEST(MethodTest, InvalidTargetIsNeverInvokedButStillDestroyed) {
  Probe probe;
  {
    Method<void()> m(new ProbeTarget(&probe));
    probe.valid = false;
    EXPECT_FALSE(m.IsValid());
    m.Run();
    Method<void()> copy(m);
    copy.Run();
  }
  EXPECT_EQ(probe.invoked, 0);
  EXPECT_EQ(probe.destroyed, 1);
}

// The trap of assignment: the source may be owned by the target being let go.
class Holder : public MethodTarget {
 public:
  explicit Holder(Method<void()> inner) : inner(std::move(inner)) {}
  void Invoke() override {}
  Method<void()> inner;
};

TEST(MethodTest, AssignFromInsideTheReleasedTarget) {
  Probe probe;
  auto* holder = new Holder(Method<void()>(new ProbeTarget(&probe)));
  Method<void()> m(holder);
  m = holder->inner;  // frees holder, and with it the source of the copy
  EXPECT_EQ(probe.destroyed, 0);
  m.Run();
  EXPECT_EQ(probe.invoked, 1);
  m = Method<void()>();
  EXPECT_EQ(probe.destroyed, 1);
}

TEST(MethodTest, LastCopyReleasedOnAnotherThread) {
  Probe probe;
  Method<void()> m(new ProbeTarget(&probe));
  m.Run();
  std::promise<void> mainDropped;
  std::thread worker([copy = m, dropped = mainDropped.get_future()]() mutable {
    dropped.wait();
    copy = Method<void()>();
  });
  const std::thread::id workerId = worker.get_id();
  m = Method<void()>();
  EXPECT_EQ(probe.destroyed, 0);
  mainDropped.set_value();
  worker.join();
  EXPECT_EQ(probe.destroyed, 1);
  EXPECT_EQ(probe.destroyedOn, workerId);
  EXPECT_EQ(probe.invoked, 1);
}

TEST(MethodTest, ConcurrentCopiesDestroyTheTargetExactlyOnce) {
  Probe probe;
  std::vector<std::thread> threads;
  {
    Method<void()> shared(new ProbeTarget(&probe));
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([copy = shared] {
        for (int i = 0; i < 20000; ++i) {
          Method<void()> a(copy);
          Method<void()> b;
          b = a;
        }
      });
    }
  }
  for (std::thread& t : threads)
    t.join();
  EXPECT_EQ(probe.destroyed, 1);
}

TEST(MethodTest, MadeDelegates) {
  int runs = 0;
  Method<void()> plain = MakeMethod([&runs] { ++runs; });
  EXPECT_FALSE(plain.NeedsId());
  plain.Run();
  EXPECT_EQ(runs, 1);

  Method<void()> withId = MakeMethodWithId([&runs] { runs += 10; });
  EXPECT_TRUE(withId.NeedsId());
  withId.Run();
  EXPECT_EQ(runs, 11);

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

  // The callable dies with the last copy of its delegate.
  auto token = std::make_shared<int>(0);
  {
    Method<void()> keeper = MakeMethod([token] {});
    EXPECT_EQ(token.use_count(), 2);
  }
  EXPECT_EQ(token.use_count(), 1);
}

#if defined(__GNUC__) && !defined(_WIN32)
// Modules built apart call these through the vtable: the slot order is part of
// the interface. Under the Itanium ABI a pointer to a virtual member holds
// 1 + the slot's byte offset; the destructor takes slots 0 and 1.
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
