// Method<void()>: the delegate that hands work to the library to be run later
// (timer callbacks, thread tasks, callbacks to the main thread). A Method is
// one pointer to a reference-counted MethodTarget; copies share the target and
// the last copy to go deletes it through its virtual destructor.
//
// MethodTarget is a contract with code built apart from the library: its field
// order and the order of its virtual functions must never change. The library
// only carries, runs and releases delegates; modules make them, for instance
// with MakeMethod below. Everything here is header-only on purpose: the
// target's storage and its destructor then belong to the module that made it.
//
// Threading: copies of one target may be made and dropped on any thread at
// once (the count is interlocked), and the target dies on whichever thread
// drops the last copy. One Method value is not locked: reach it from one
// thread at a time or under the lock of whatever holds it.
#ifndef BASE_METHOD_H_
#define BASE_METHOD_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "base/platform.h"

template <typename Signature>
class Method;

// The callable object behind a Method. Derive from it, override Invoke and, if
// needed, IsValid and NeedsId, and allocate it with `new`: the last Method
// that lets go of it calls `delete`.
class MethodTarget {
 public:
  MethodTarget() = default;
  MethodTarget(const MethodTarget&) = delete;
  MethodTarget& operator=(const MethodTarget&) = delete;

  // The virtual functions, in their fixed slot order.
  virtual ~MethodTarget() = default;
  // True if the target must not be scheduled without a timer id.
  virtual bool NeedsId() { return false; }
  // False once the call is to be dropped. Asked again right before each run,
  // so it may turn false at any time.
  virtual bool IsValid() { return true; }
  // Holds its slot between IsValid and Invoke; the library never calls it.
  virtual void Reserved() {}
  virtual void Invoke() = 0;

 protected:
  // A word for the concrete target's own use; the library never touches it.
  std::uint32_t userWord = 0;

 private:
  friend class Method<void()>;

  // How many Methods point here. Changed only by the interlocked functions.
  volatile LONG refCount = 0;
};

template <>
class Method<void()> {
 public:
  Method() = default;

  // Takes one count of `adopted`, which must have been made with `new`. A
  // target that no Method ever held is not deleted by anyone.
  explicit Method(MethodTarget* adopted) : target(adopted) { AddRef(adopted); }

  Method(const Method& other) : target(other.target) { AddRef(target); }

  // Self-assignment holds the same target, so the first test covers it.
  Method& operator=(const Method& other) {  // NOLINT(bugprone-unhandled-self-assignment)
    if (target == other.target)
      return *this;
    // The trap: `other` may live inside the target about to be released.
    // Take the new target before the old one can go, and let it go last,
    // when this delegate is whole again.
    MethodTarget* const old = target;
    target = other.target;
    AddRef(target);
    Release(old);
    return *this;
  }

  ~Method() { Release(target); }

  bool IsEmpty() const { return target == nullptr; }

  // False for an empty delegate, else what the target says now.
  bool IsValid() const { return target != nullptr && target->IsValid(); }
  bool NeedsId() const { return target != nullptr && target->NeedsId(); }

  // Runs the target if there is one and it is still valid; otherwise nothing.
  // Exceptions from the target pass through.
  void Run() const {
    if (IsValid())
      target->Invoke();
  }

 private:
  static void AddRef(MethodTarget* t) {
    if (t != nullptr)
      InterlockedIncrement(&t->refCount);
  }
  static void Release(MethodTarget* t) {
    if (t != nullptr && InterlockedDecrement(&t->refCount) == 0)
      delete t;
  }

  // Modules built apart from the library pass Methods by value and derive
  // their own targets: this layout is part of the interface.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
#endif
  static_assert(offsetof(MethodTarget, userWord) == sizeof(void*),
                "the target's own word follows the vtable pointer");
  static_assert(offsetof(MethodTarget, refCount) == sizeof(void*) + 4,
                "refCount follows the target's own word");
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
  static_assert(sizeof(LONG) == 4, "refCount is a 32-bit interlocked word");

  MethodTarget* target = nullptr;
};

static_assert(sizeof(Method<void()>) == sizeof(void*), "a Method is one pointer wide");

namespace base::internal {

// Runs any callable without arguments.
template <typename F>
class CallableTarget : public MethodTarget {
 public:
  explicit CallableTarget(F f) : f_(std::move(f)) {}
  void Invoke() override { f_(); }

 private:
  F f_;
};

// As CallableTarget, but asks for a timer id.
template <typename F>
class IdCallableTarget final : public CallableTarget<F> {
 public:
  using CallableTarget<F>::CallableTarget;
  bool NeedsId() override { return true; }
};

// Valid while `owner` lives; runs `f(owner)` with the owner held alive for
// the length of the call, so that it cannot die half-way on another thread.
template <typename Owner, typename F>
class WeakCallableTarget final : public MethodTarget {
 public:
  WeakCallableTarget(std::weak_ptr<Owner> owner, F f)
      : owner_(std::move(owner)), f_(std::move(f)) {}
  bool IsValid() override { return !owner_.expired(); }
  void Invoke() override {
    if (std::shared_ptr<Owner> held = owner_.lock())
      std::invoke(f_, *held);
  }

 private:
  std::weak_ptr<Owner> owner_;
  F f_;
};

}  // namespace base::internal

// A delegate that runs `f()`.
template <typename F>
Method<void()> MakeMethod(F f) {
  return Method<void()>(new base::internal::CallableTarget<F>(std::move(f)));
}

// A delegate that runs `f()` and is refused by SetTimeCallback without an id.
template <typename F>
Method<void()> MakeMethodWithId(F f) {
  return Method<void()>(new base::internal::IdCallableTarget<F>(std::move(f)));
}

// A delegate that is valid while `owner` lives and then runs `f(*owner)`;
// `f` may be a pointer to a member function of Owner. It does not keep the
// owner alive between runs.
template <typename Owner, typename F>
Method<void()> MakeWeakMethod(std::weak_ptr<Owner> owner, F f) {
  return Method<void()>(
      new base::internal::WeakCallableTarget<Owner, F>(std::move(owner), std::move(f)));
}

#endif  // BASE_METHOD_H_
