// The one handle pool of the process, a singleton reached only through the
// GlobalHandle... exports. It releases its table in the first teardown pass,
// so that between the two passes the exports find no pool and answer
// HandleResultNoPool instead of touching freed memory.
#ifndef BASE_HANDLE_GLOBAL_HANDLE_POOL_H_
#define BASE_HANDLE_GLOBAL_HANDLE_POOL_H_

#include <memory>

#include "handle/handle_table.h"
#include "lifecycle/singleton.h"

namespace base {

class globalhandlepoolobject : public Singlton<globalhandlepoolobject> {
 public:
  void Init() override {}
  void FInit() override { Release(); }

  // Null once FInit has run.
  handlepool* pool() const { return pool_.get(); }

  // The table of the instance while it has one, read without Instance(),
  // whose making of the instance, inlined, would give every call of an export
  // a stack frame. Null before the instance is made and from FInit on.
  static handlepool* LivePool() { return live_; }

 private:
  friend class Singlton<globalhandlepoolobject>;
  globalhandlepoolobject() : pool_(new handlepool) { live_ = pool_.get(); }
  ~globalhandlepoolobject() override { Release(); }

  void Release() {
    live_ = nullptr;
    pool_.reset();
  }

  std::unique_ptr<handlepool> pool_;
  static inline handlepool* live_ = nullptr;
};

}  // namespace base

#endif  // BASE_HANDLE_GLOBAL_HANDLE_POOL_H_
