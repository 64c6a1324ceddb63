// The three drivers of the packer fuzzer and the wire-format helpers they
// share. Each driver takes its whole script from the provider.
#ifndef BASE_FUZZ_PACK_FUZZ_H_
#define BASE_FUZZ_PACK_FUZZ_H_

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/buffer.h"
#include "base/commonpack.h"

namespace pack_fuzz {

using Bytes = std::vector<unsigned char>;

// Random input, then a random sequence of reads, each checked against a model
// of the wire format (result, value, cursor).
void FuzzReader(FuzzedDataProvider& fdp);
// A random message written field by field, handed over to a Buffer, read back
// on a second pack and compared field by field.
void FuzzWriter(FuzzedDataProvider& fdp);
// A random sequence of Buffer operations, mirrored on a model of the block.
void FuzzBuffer(FuzzedDataProvider& fdp);

// The `width`-byte number at `in[pos]`, most significant byte first if
// `bigEndian`.
std::uint64_t ReadNumber(const Bytes& in, std::size_t pos, int width, bool bigEndian);
// Bytes of the length head of `type`; 0 for a type without one.
int HeadWidth(OrvCommPackDataType type);
bool SameBytes(const Buffer& b, const unsigned char* p, std::size_t n);

}  // namespace pack_fuzz

#endif  // BASE_FUZZ_PACK_FUZZ_H_
