// Process-wide singletons made at first use and torn down from the library's
// exit table, never by an explicit call.
//
// A concrete type T derives from Singlton<T> and is reached through
// T::Instance(). The first call makes the object and registers T's two
// teardown functions in SingletonRegistry under the key GetDestroyOrder()
// gives. At unload the registry runs two passes over all registered types in
// ascending key order (equal keys in order of first use): FInit of every
// singleton, then the destruction of every singleton. So during the first
// pass every singleton still exists and may be reached from another's FInit.
//
// Threading: nothing here is locked. The first Instance() of a type must have
// returned before any other thread asks for a singleton of any type; after
// that Instance() is a plain read of a pointer.
#ifndef BASE_LIFECYCLE_SINGLETON_H_
#define BASE_LIFECYCLE_SINGLETON_H_

#include <cstdint>
#include <list>

namespace base {

struct SingletonEntry {
  std::int32_t order;  // compared as a signed number
  void (*finalise)();  // first pass; may be null
  void (*destroy)();   // second pass; may be null
};

class SingletonRegistry {
 public:
  SingletonRegistry(const SingletonRegistry&) = delete;
  SingletonRegistry& operator=(const SingletonRegistry&) = delete;

  // The one registry, made at the first call, which also adds TearDown to the
  // library's exit table.
  static SingletonRegistry& Get();

  // The exit-table entry: finalises, then destroys every registered singleton
  // in the registry's order, and frees the registry. A later first use starts
  // a new registry, as after a fresh load. Exceptions out of a teardown
  // function are not caught; the registry is freed as they pass.
  static void TearDown();

  // True while TearDown runs. No singleton may be made then.
  static bool IsTearingDown();

  // Inserts before the first entry with a strictly greater order.
  void Insert(const SingletonEntry& entry);

 private:
  SingletonRegistry() = default;
  ~SingletonRegistry() = default;
  void RunPasses() const;

  std::list<SingletonEntry> entries_;
};

template <typename T>
class Singlton {
 public:
  Singlton(const Singlton&) = delete;
  Singlton& operator=(const Singlton&) = delete;

  // The one instance of T, made on first use. The pointer is stored before
  // RegisterDestroy and Init run, so an Instance() from inside them gets the
  // object under construction. If the constructor throws, nothing is kept
  // and the next call tries again. Returns null only for a type that has no
  // instance while the singletons are being torn down: making one then would
  // register it into a list that is being dismantled.
  static T* Instance() {
    if (instance_ != nullptr)
      return instance_;
    if (SingletonRegistry::IsTearingDown())
      return nullptr;
    instance_ = new T;
    instance_->RegisterDestroy(instance_->GetDestroyOrder());
    instance_->Init();
    return instance_;
  }

  // The virtual functions, in their fixed order.
  virtual void Init() = 0;
  // First teardown pass; every other singleton still exists.
  virtual void FInit() = 0;
  virtual std::int32_t GetDestroyOrder() { return 0; }
  // Adds T's teardown functions to the registry; does not use the instance.
  virtual void RegisterDestroy(std::int32_t order) {
    SingletonRegistry::Get().Insert(SingletonEntry{order, &Finalise, &Destroy});
  }
  // Second teardown pass.
  virtual ~Singlton() = default;

 protected:
  Singlton() = default;

 private:
  static void Finalise() {
    if (instance_ != nullptr)
      instance_->FInit();
  }
  static void Destroy() {
    if (instance_ != nullptr) {
      delete instance_;
      instance_ = nullptr;
    }
  }

  static inline T* instance_ = nullptr;
};

}  // namespace base

#endif  // BASE_LIFECYCLE_SINGLETON_H_
