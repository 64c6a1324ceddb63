// The one check of the fuzz targets: a broken invariant stops the run, with
// the input that broke it saved by libFuzzer.
#ifndef BASE_FUZZ_FUZZ_CHECK_H_
#define BASE_FUZZ_FUZZ_CHECK_H_

#include <cstdlib>

#define FUZZ_CHECK(condition) \
  do {                        \
    if (!(condition))         \
      std::abort();           \
  } while (0)

#endif  // BASE_FUZZ_FUZZ_CHECK_H_
