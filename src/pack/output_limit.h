// The largest single addition to a pack's output, and the largest output that
// may still grow. Beyond it a writer refuses: the output then always stays
// countable by a non-negative 32-bit int.
#ifndef BASE_PACK_OUTPUT_LIMIT_H_
#define BASE_PACK_OUTPUT_LIMIT_H_

namespace base {

constexpr unsigned int kMaxOutput = 0x3FFFFFFF;

}  // namespace base

#endif  // BASE_PACK_OUTPUT_LIMIT_H_
