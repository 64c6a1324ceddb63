// The two exit lists behind include/base/exit_notify.h. They are static
// objects of the library, constructed at load before anything can call it and
// destroyed at unload without calling any entry. Their definitions must stay
// in the translation unit that fixes the order of the library's statics:
// ExitSaveDataCallBacks first, then ExitCallBacks.
#ifndef BASE_LIFECYCLE_EXIT_LISTS_H_
#define BASE_LIFECYCLE_EXIT_LISTS_H_

#include <cstdint>
#include <map>

#include "base/exit_notify.h"

namespace base {

class ExitCallBackList {
 public:
  // Sets the argument of `callback`, adding the entry if needed. On an
  // allocation failure the list keeps its former contents.
  void Set(ExitCallBackFunc callback, void* param);
  void Erase(ExitCallBackFunc callback);
  // Calls every entry on a copy of the list, lowest address first.
  void Fire() const;

 private:
  // Ordered by the numeric value of the address, as the host can predict it.
  struct ByAddress {
    bool operator()(ExitCallBackFunc a, ExitCallBackFunc b) const {
      return reinterpret_cast<std::uintptr_t>(a) < reinterpret_cast<std::uintptr_t>(b);
    }
  };
  using Map = std::map<ExitCallBackFunc, void*, ByAddress>;

  Map entries_;
};

extern ExitCallBackList ExitSaveDataCallBacks;
extern ExitCallBackList ExitCallBacks;

}  // namespace base

#endif  // BASE_LIFECYCLE_EXIT_LISTS_H_
