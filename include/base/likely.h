// BASE_LIKELY and BASE_UNLIKELY tell the compiler which way a condition
// usually goes, so that it lays out the common case as the straight path. They
// evaluate to the condition as a bool. Compilers without the hint (MSVC) get
// the plain expression: a host built with them can include every public
// header.
#ifndef BASE_LIKELY_H_
#define BASE_LIKELY_H_

#if defined(__GNUC__) || defined(__clang__)
#define BASE_LIKELY(condition) (__builtin_expect(static_cast<bool>(condition), 1))
#define BASE_UNLIKELY(condition) (__builtin_expect(static_cast<bool>(condition), 0))
#else
#define BASE_LIKELY(condition) (static_cast<bool>(condition))
#define BASE_UNLIKELY(condition) (static_cast<bool>(condition))
#endif

#endif  // BASE_LIKELY_H_
