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
  void FInit() override { pool_.reset(); }

  // Null once FInit has run.
  handlepool* pool() const { return pool_.get(); }

 private:
  friend class Singlton<globalhandlepoolobject>;
  globalhandlepoolobject() : pool_(new handlepool) {}
  ~globalhandlepoolobject() override = default;

  std::unique_ptr<handlepool> pool_;
};

}  // namespace base

#endif  // BASE_HANDLE_GLOBAL_HANDLE_POOL_H_
