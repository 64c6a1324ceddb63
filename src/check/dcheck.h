// BASE_DCHECK: a check of the library's own invariants, in debug builds only.
//
// For what this code guarantees to itself ("the lock is held", "the slot is
// free", "the index names this slot"), never for what a caller passes in: the
// contracts say what a bad argument gets, and that must not change between
// debug and release builds. A failed check prints where and what, and aborts.
// With NDEBUG the condition is compiled but never evaluated, so it may name
// what only the check uses, and it costs nothing.
#ifndef BASE_CHECK_DCHECK_H_
#define BASE_CHECK_DCHECK_H_

#include <cstdio>
#include <cstdlib>

namespace base::internal {

[[noreturn]] inline void DcheckFailed(const char* condition, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: check failed: %s\n", file, line, condition);
  std::abort();
}

}  // namespace base::internal

#ifdef NDEBUG
#define BASE_DCHECK(condition) static_cast<void>(true ? true : static_cast<bool>(condition))
#else
#define BASE_DCHECK(condition)        \
  ((condition) ? static_cast<void>(0) \
               : ::base::internal::DcheckFailed(#condition, __FILE__, __LINE__))
#endif

#endif  // BASE_CHECK_DCHECK_H_
