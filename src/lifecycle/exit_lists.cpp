#include "lifecycle/exit_lists.h"

namespace base {

void ExitCallBackList::Set(ExitCallBackFunc callback, void* param) {
  entries_.insert_or_assign(callback, param);
}

void ExitCallBackList::Erase(ExitCallBackFunc callback) {
  entries_.erase(callback);
}

void ExitCallBackList::Fire() const {
  // The copy lets a callback change the list while it is being walked.
  const Map snapshot = entries_;
  for (const auto& [callback, param] : snapshot)
    callback(param);
}

}  // namespace base
