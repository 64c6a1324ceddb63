// The packer against the ceiling (a hand-written memcpy/byte-swap packer into
// a preallocated block) and Protocol Buffers, in one binary. Two messages:
//   record: 4 one-byte, 4 two-byte and 4 four-byte fields big-endian, 2 eight-
//           byte fields little-endian, byte-headed texts of 16 and 64 bytes, and
//           a double-word-headed blob of 1 KiB;
//   tagged: 32 TLV fields (1-byte tag, byte head, 8-byte value).
// Each is measured written then taken out, and read from set input (the tagged
// one by CommonPack in the zero-copy and the Buffer form). A row of its own
// times the block allocation and release that GetBufferOut imposes on every
// message and the ceiling never pays. At the end the binary prints the ratio
// of each peer to the ceiling (medians when run with --benchmark_repetitions).
#include <benchmark/benchmark.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "base/buffer.h"
#include "base/commonpack.h"
#include "median_times.h"
#include "pack_bench.pb.h"

namespace {

using google::protobuf::io::ArrayInputStream;
using google::protobuf::io::ArrayOutputStream;
using google::protobuf::io::CodedInputStream;
using google::protobuf::io::CodedOutputStream;

// --- The data every writer sends and every reader checks ---

struct Record {
  std::uint8_t b[4] = {1, 2, 3, 4};
  std::uint16_t w[4] = {0x1112, 0x2122, 0x3132, 0x4142};
  std::uint32_t d[4] = {0x01020304, 0x11121314, 0x21222324, 0x31323334};
  std::uint64_t q[2] = {0x0102030405060708ull, 0x1112131415161718ull};
  std::string text16 = std::string(16, 't');
  std::string text64 = std::string(64, 'u');
  std::string blob = std::string(1024, 'b');
};

const Record& Data() {
  static const Record record;
  return record;
}

constexpr int kTagged = 32;

std::uint64_t TaggedValue(int i) {
  return 0x0101010101010101ull * static_cast<std::uint64_t>(i + 1);
}

Buffer MakeBuffer(const void* p, std::size_t n) {
  Buffer b;
  b.CopyFrom(static_cast<const unsigned char*>(p), static_cast<unsigned int>(n));
  return b;
}

// The packer's caller keeps its byte fields in Buffers.
struct PackerSource {
  Buffer text16 = MakeBuffer(Data().text16.data(), 16);
  Buffer text64 = MakeBuffer(Data().text64.data(), 64);
  Buffer blob = MakeBuffer(Data().blob.data(), 1024);
  std::vector<Buffer> tagged;
  PackerSource() {
    for (int i = 0; i < kTagged; ++i) {
      const std::uint64_t v = TaggedValue(i);
      tagged.push_back(MakeBuffer(&v, 8));
    }
  }
};

const PackerSource& Source() {
  static const PackerSource source;
  return source;
}

// --- Ceiling: memcpy and byte swaps into a preallocated block ---

class RawWriter {
 public:
  explicit RawWriter(unsigned char* p) : p_(p) {}
  template <typename T>
  void Put(T v) {
    std::memcpy(p_, &v, sizeof(T));
    p_ += sizeof(T);
  }
  // Opaque to the optimiser: a memcpy whose length g++ can bound (inlined, or
  // through constant propagation into a noinline copy) becomes rep movsq, which
  // copies an unaligned KiB several times slower than glibc's memcpy.
  __attribute__((noipa)) void PutBytes(const void* src, std::size_t n) {
    std::memcpy(p_, src, n);
    p_ += n;
  }
  unsigned char* end() const { return p_; }

 private:
  unsigned char* p_;
};

class RawReader {
 public:
  explicit RawReader(const unsigned char* p) : p_(p) {}
  template <typename T>
  T Get() {
    T v;
    std::memcpy(&v, p_, sizeof(T));
    p_ += sizeof(T);
    return v;
  }
  const unsigned char* Skip(std::size_t n) {
    const unsigned char* at = p_;
    p_ += n;
    return at;
  }

 private:
  const unsigned char* p_;
};

std::size_t CeilingWriteRecord(unsigned char* block) {
  const Record& r = Data();
  RawWriter w(block);
  for (std::uint8_t v : r.b)
    w.Put(v);
  for (std::uint16_t v : r.w)
    w.Put(__builtin_bswap16(v));
  for (std::uint32_t v : r.d)
    w.Put(__builtin_bswap32(v));
  for (std::uint64_t v : r.q)
    w.Put(v);
  w.Put(static_cast<std::uint8_t>(16));
  w.PutBytes(r.text16.data(), 16);
  w.Put(static_cast<std::uint8_t>(64));
  w.PutBytes(r.text64.data(), 64);
  w.Put(__builtin_bswap32(1024u));
  w.PutBytes(r.blob.data(), 1024);
  return w.end() - block;
}

std::uint64_t CeilingReadRecord(const unsigned char* block) {
  RawReader r(block);
  std::uint64_t sum = 0;
  for (int i = 0; i < 4; ++i)
    sum += r.Get<std::uint8_t>();
  for (int i = 0; i < 4; ++i)
    sum += __builtin_bswap16(r.Get<std::uint16_t>());
  for (int i = 0; i < 4; ++i)
    sum += __builtin_bswap32(r.Get<std::uint32_t>());
  for (int i = 0; i < 2; ++i)
    sum += r.Get<std::uint64_t>();
  for (int i = 0; i < 2; ++i) {
    const std::uint8_t len = r.Get<std::uint8_t>();
    sum += r.Skip(len)[0] + len;
  }
  const std::uint32_t len = __builtin_bswap32(r.Get<std::uint32_t>());
  sum += r.Skip(len)[0] + len;
  return sum;
}

std::size_t CeilingWriteTagged(unsigned char* block) {
  RawWriter w(block);
  for (int i = 0; i < kTagged; ++i) {
    w.Put(static_cast<std::uint8_t>(i));
    w.Put(static_cast<std::uint8_t>(8));
    w.Put(TaggedValue(i));
  }
  return w.end() - block;
}

std::uint64_t CeilingReadTagged(const unsigned char* block) {
  RawReader r(block);
  std::uint64_t sum = 0;
  for (int i = 0; i < kTagged; ++i) {
    sum += r.Get<std::uint8_t>();
    const std::uint8_t len = r.Get<std::uint8_t>();
    std::uint64_t v;
    std::memcpy(&v, r.Skip(len), 8);
    sum += v;
  }
  return sum;
}

// --- CommonPack ---

void PackWriteRecord(CommonPack& pack) {
  const Record& r = Data();
  const PackerSource& s = Source();
  for (std::uint8_t v : r.b)
    pack.AddBYTE(v);
  for (std::uint16_t v : r.w)
    pack.AddWORD(v, true);
  for (std::uint32_t v : r.d)
    pack.AddDWORD(v, true);
  for (std::uint64_t v : r.q)
    pack.AddUINT64(v, false);
  pack.AddBufLenByte(s.text16);
  pack.AddBufLenByte(s.text64);
  pack.AddBufLenDWord(s.blob, true);
}

std::uint64_t PackReadRecord(CommonPack& pack) {
  std::uint64_t sum = 0;
  for (int i = 0; i < 4; ++i) {
    unsigned char v = 0;
    pack.GetBYTE(v);
    sum += v;
  }
  for (int i = 0; i < 4; ++i) {
    unsigned short v = 0;
    pack.GetWORD(v, true);
    sum += v;
  }
  for (int i = 0; i < 4; ++i) {
    unsigned int v = 0;
    pack.GetDWORD(v, true);
    sum += v;
  }
  for (int i = 0; i < 2; ++i) {
    unsigned long long v = 0;
    pack.GetUINT64(v, false);
    sum += v;
  }
  unsigned char* p = nullptr;
  for (int i = 0; i < 2; ++i) {
    unsigned char len = 0;
    pack.GetBYTE(len);
    pack.GetBuf(&p, len);
    sum += p[0] + len;
  }
  unsigned int len = 0;
  pack.GetDWORD(len, true);
  pack.GetBuf(&p, static_cast<int>(len));
  return sum + p[0] + len;
}

void PackWriteTagged(CommonPack& pack) {
  const PackerSource& s = Source();
  for (int i = 0; i < kTagged; ++i)
    pack.AddTLV(static_cast<unsigned char>(i), s.tagged[i], OrvCommPackDataByte);
}

std::uint64_t PackReadTagged(CommonPack& pack) {
  std::uint64_t sum = 0;
  for (int i = 0; i < kTagged; ++i) {
    unsigned char tag = 0;
    unsigned char* p = nullptr;
    unsigned int len = 0;
    pack.GetTLV(tag, &p, len, OrvCommPackDataByte);
    std::uint64_t v;
    std::memcpy(&v, p, 8);
    sum += tag + v;
  }
  return sum;
}

// --- Protocol Buffers: coded streams writing the same wire format ---

std::size_t CodedWriteRecord(unsigned char* block, std::size_t cap) {
  const Record& r = Data();
  ArrayOutputStream array(block, static_cast<int>(cap));
  CodedOutputStream out(&array);
  for (std::uint8_t v : r.b)
    out.WriteRaw(&v, 1);
  for (std::uint16_t v : r.w) {
    const std::uint16_t be = __builtin_bswap16(v);
    out.WriteRaw(&be, 2);
  }
  for (std::uint32_t v : r.d)
    out.WriteLittleEndian32(__builtin_bswap32(v));
  for (std::uint64_t v : r.q)
    out.WriteLittleEndian64(v);
  const std::uint8_t len16 = 16, len64 = 64;
  // Lengths from the data, not literals: see RawWriter::PutBytes.
  out.WriteRaw(&len16, 1);
  out.WriteRaw(r.text16.data(), static_cast<int>(r.text16.size()));
  out.WriteRaw(&len64, 1);
  out.WriteRaw(r.text64.data(), static_cast<int>(r.text64.size()));
  out.WriteLittleEndian32(__builtin_bswap32(static_cast<std::uint32_t>(r.blob.size())));
  out.WriteRaw(r.blob.data(), static_cast<int>(r.blob.size()));
  out.Trim();
  return static_cast<std::size_t>(out.ByteCount());
}

std::uint64_t CodedReadRecord(const unsigned char* block, std::size_t n) {
  CodedInputStream in(block, static_cast<int>(n));
  std::uint64_t sum = 0;
  for (int i = 0; i < 4; ++i) {
    std::uint8_t v = 0;
    in.ReadRaw(&v, 1);
    sum += v;
  }
  for (int i = 0; i < 4; ++i) {
    std::uint16_t v = 0;
    in.ReadRaw(&v, 2);
    sum += __builtin_bswap16(v);
  }
  for (int i = 0; i < 4; ++i) {
    std::uint32_t v = 0;
    in.ReadLittleEndian32(&v);
    sum += __builtin_bswap32(v);
  }
  for (int i = 0; i < 2; ++i) {
    std::uint64_t v = 0;
    in.ReadLittleEndian64(&v);
    sum += v;
  }
  const void* p = nullptr;
  int avail = 0;
  for (int i = 0; i < 2; ++i) {
    std::uint8_t len = 0;
    in.ReadRaw(&len, 1);
    in.GetDirectBufferPointer(&p, &avail);
    in.Skip(len);
    sum += static_cast<const unsigned char*>(p)[0] + len;
  }
  std::uint32_t len = 0;
  in.ReadLittleEndian32(&len);
  len = __builtin_bswap32(len);
  in.GetDirectBufferPointer(&p, &avail);
  in.Skip(static_cast<int>(len));
  return sum + static_cast<const unsigned char*>(p)[0] + len;
}

std::size_t CodedWriteTagged(unsigned char* block, std::size_t cap) {
  ArrayOutputStream array(block, static_cast<int>(cap));
  CodedOutputStream out(&array);
  for (int i = 0; i < kTagged; ++i) {
    const std::uint8_t head[2] = {static_cast<std::uint8_t>(i), 8};
    out.WriteRaw(head, 2);
    out.WriteLittleEndian64(TaggedValue(i));
  }
  out.Trim();
  return static_cast<std::size_t>(out.ByteCount());
}

std::uint64_t CodedReadTagged(const unsigned char* block, std::size_t n) {
  CodedInputStream in(block, static_cast<int>(n));
  std::uint64_t sum = 0;
  for (int i = 0; i < kTagged; ++i) {
    std::uint8_t head[2];
    std::uint64_t v = 0;
    in.ReadRaw(head, 2);
    in.ReadLittleEndian64(&v);
    sum += head[0] + v;
  }
  return sum;
}

// --- Protocol Buffers: messages ---

void FillRecord(packbench::Record& m) {
  const Record& r = Data();
  m.set_b1(r.b[0]);
  m.set_b2(r.b[1]);
  m.set_b3(r.b[2]);
  m.set_b4(r.b[3]);
  m.set_w1(r.w[0]);
  m.set_w2(r.w[1]);
  m.set_w3(r.w[2]);
  m.set_w4(r.w[3]);
  m.set_d1(r.d[0]);
  m.set_d2(r.d[1]);
  m.set_d3(r.d[2]);
  m.set_d4(r.d[3]);
  m.set_q1(r.q[0]);
  m.set_q2(r.q[1]);
  m.set_text16(r.text16);
  m.set_text64(r.text64);
  m.set_blob(r.blob);
}

std::uint64_t SumRecord(const packbench::Record& m) {
  return m.b1() + m.b2() + m.b3() + m.b4() + m.w1() + m.w2() + m.w3() + m.w4() + m.d1() + m.d2() +
         m.d3() + m.d4() + m.q1() + m.q2() + m.text16().size() + m.text64().size() +
         m.blob().size();
}

using TaggedSetter = void (packbench::Tagged::*)(std::uint64_t);
using TaggedGetter = std::uint64_t (packbench::Tagged::*)() const;
const TaggedSetter kSetters[kTagged] = {
    &packbench::Tagged::set_f1,  &packbench::Tagged::set_f2,  &packbench::Tagged::set_f3,
    &packbench::Tagged::set_f4,  &packbench::Tagged::set_f5,  &packbench::Tagged::set_f6,
    &packbench::Tagged::set_f7,  &packbench::Tagged::set_f8,  &packbench::Tagged::set_f9,
    &packbench::Tagged::set_f10, &packbench::Tagged::set_f11, &packbench::Tagged::set_f12,
    &packbench::Tagged::set_f13, &packbench::Tagged::set_f14, &packbench::Tagged::set_f15,
    &packbench::Tagged::set_f16, &packbench::Tagged::set_f17, &packbench::Tagged::set_f18,
    &packbench::Tagged::set_f19, &packbench::Tagged::set_f20, &packbench::Tagged::set_f21,
    &packbench::Tagged::set_f22, &packbench::Tagged::set_f23, &packbench::Tagged::set_f24,
    &packbench::Tagged::set_f25, &packbench::Tagged::set_f26, &packbench::Tagged::set_f27,
    &packbench::Tagged::set_f28, &packbench::Tagged::set_f29, &packbench::Tagged::set_f30,
    &packbench::Tagged::set_f31, &packbench::Tagged::set_f32};
const TaggedGetter kGetters[kTagged] = {
    &packbench::Tagged::f1,  &packbench::Tagged::f2,  &packbench::Tagged::f3,
    &packbench::Tagged::f4,  &packbench::Tagged::f5,  &packbench::Tagged::f6,
    &packbench::Tagged::f7,  &packbench::Tagged::f8,  &packbench::Tagged::f9,
    &packbench::Tagged::f10, &packbench::Tagged::f11, &packbench::Tagged::f12,
    &packbench::Tagged::f13, &packbench::Tagged::f14, &packbench::Tagged::f15,
    &packbench::Tagged::f16, &packbench::Tagged::f17, &packbench::Tagged::f18,
    &packbench::Tagged::f19, &packbench::Tagged::f20, &packbench::Tagged::f21,
    &packbench::Tagged::f22, &packbench::Tagged::f23, &packbench::Tagged::f24,
    &packbench::Tagged::f25, &packbench::Tagged::f26, &packbench::Tagged::f27,
    &packbench::Tagged::f28, &packbench::Tagged::f29, &packbench::Tagged::f30,
    &packbench::Tagged::f31, &packbench::Tagged::f32};

// --- Benchmarks ---

constexpr std::size_t kBlock = 4096;

void BM_RecordWrite_Ceiling(benchmark::State& state) {
  std::vector<unsigned char> block(kBlock);
  for (auto _ : state) {
    benchmark::DoNotOptimize(CeilingWriteRecord(block.data()));
    benchmark::ClobberMemory();
  }
}

void BM_RecordWrite_CommonPack(benchmark::State& state) {
  CommonPack pack;
  pack.SetGrowLen(static_cast<unsigned int>(state.range(0)));
  Buffer out;
  for (auto _ : state) {
    PackWriteRecord(pack);
    pack.GetBufferOut(out);
    benchmark::DoNotOptimize(out.GetNativeBuf());
  }
}

void BM_RecordWrite_ProtobufCoded(benchmark::State& state) {
  std::vector<unsigned char> block(kBlock);
  for (auto _ : state) {
    benchmark::DoNotOptimize(CodedWriteRecord(block.data(), block.size()));
    benchmark::ClobberMemory();
  }
}

void BM_RecordWrite_ProtobufMessage(benchmark::State& state) {
  packbench::Record m;
  std::string out;
  for (auto _ : state) {
    FillRecord(m);
    m.SerializeToString(&out);
    benchmark::DoNotOptimize(out.data());
  }
}

void BM_RecordRead_Ceiling(benchmark::State& state) {
  std::vector<unsigned char> block(kBlock);
  CeilingWriteRecord(block.data());
  for (auto _ : state)
    benchmark::DoNotOptimize(CeilingReadRecord(block.data()));
}

void BM_RecordRead_CommonPack(benchmark::State& state) {
  CommonPack writer;
  PackWriteRecord(writer);
  Buffer in;
  writer.GetBufferOut(in);
  CommonPack pack;
  for (auto _ : state) {
    pack.SetBufferIn(in, true);
    benchmark::DoNotOptimize(PackReadRecord(pack));
  }
}

void BM_RecordRead_ProtobufCoded(benchmark::State& state) {
  std::vector<unsigned char> block(kBlock);
  const std::size_t n = CodedWriteRecord(block.data(), block.size());
  for (auto _ : state)
    benchmark::DoNotOptimize(CodedReadRecord(block.data(), n));
}

void BM_RecordRead_ProtobufMessage(benchmark::State& state) {
  packbench::Record source;
  FillRecord(source);
  const std::string wire = source.SerializeAsString();
  packbench::Record m;
  for (auto _ : state) {
    m.ParseFromString(wire);
    benchmark::DoNotOptimize(SumRecord(m));
  }
}

void BM_TaggedWrite_Ceiling(benchmark::State& state) {
  std::vector<unsigned char> block(kBlock);
  for (auto _ : state) {
    benchmark::DoNotOptimize(CeilingWriteTagged(block.data()));
    benchmark::ClobberMemory();
  }
}

void BM_TaggedWrite_CommonPack(benchmark::State& state) {
  CommonPack pack;
  Buffer out;
  for (auto _ : state) {
    PackWriteTagged(pack);
    pack.GetBufferOut(out);
    benchmark::DoNotOptimize(out.GetNativeBuf());
  }
}

void BM_TaggedWrite_ProtobufCoded(benchmark::State& state) {
  std::vector<unsigned char> block(kBlock);
  for (auto _ : state) {
    benchmark::DoNotOptimize(CodedWriteTagged(block.data(), block.size()));
    benchmark::ClobberMemory();
  }
}

void BM_TaggedWrite_ProtobufMessage(benchmark::State& state) {
  packbench::Tagged m;
  std::string out;
  for (auto _ : state) {
    for (int i = 0; i < kTagged; ++i)
      (m.*kSetters[i])(TaggedValue(i));
    m.SerializeToString(&out);
    benchmark::DoNotOptimize(out.data());
  }
}

void BM_TaggedRead_Ceiling(benchmark::State& state) {
  std::vector<unsigned char> block(kBlock);
  CeilingWriteTagged(block.data());
  for (auto _ : state)
    benchmark::DoNotOptimize(CeilingReadTagged(block.data()));
}

void BM_TaggedRead_CommonPack(benchmark::State& state) {
  CommonPack writer;
  PackWriteTagged(writer);
  Buffer in;
  writer.GetBufferOut(in);
  CommonPack pack;
  for (auto _ : state) {
    pack.SetBufferIn(in, true);
    benchmark::DoNotOptimize(PackReadTagged(pack));
  }
}

// The Buffer form into one Buffer, as a loop over fields would read them: the
// block is made by the first field and reused by the others.
void BM_TaggedRead_CommonPackBuffer(benchmark::State& state) {
  CommonPack writer;
  PackWriteTagged(writer);
  Buffer in;
  writer.GetBufferOut(in);
  CommonPack pack;
  Buffer value;
  for (auto _ : state) {
    pack.SetBufferIn(in, true);
    std::uint64_t sum = 0;
    for (int i = 0; i < kTagged; ++i) {
      unsigned char tag = 0;
      pack.GetTLV(tag, value, OrvCommPackDataByte);
      std::uint64_t v;
      std::memcpy(&v, value.GetNativeBuf(), 8);
      sum += tag + v;
    }
    benchmark::DoNotOptimize(sum);
  }
}

void BM_TaggedRead_ProtobufCoded(benchmark::State& state) {
  std::vector<unsigned char> block(kBlock);
  const std::size_t n = CodedWriteTagged(block.data(), block.size());
  for (auto _ : state)
    benchmark::DoNotOptimize(CodedReadTagged(block.data(), n));
}

void BM_TaggedRead_ProtobufMessage(benchmark::State& state) {
  packbench::Tagged source;
  for (int i = 0; i < kTagged; ++i)
    (source.*kSetters[i])(TaggedValue(i));
  const std::string wire = source.SerializeAsString();
  packbench::Tagged m;
  for (auto _ : state) {
    m.ParseFromString(wire);
    std::uint64_t sum = 0;
    for (int i = 0; i < kTagged; ++i)
      sum += (m.*kGetters[i])();
    benchmark::DoNotOptimize(sum);
  }
}

// What every message written through GetBufferOut pays whatever the packer
// does: a new block of the step's size, and the release of the previous
// message's block by the receiving Buffer. The ceiling pays neither.
void BM_MessageBlock_Allocation(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  void* previous = ::operator new(size);
  for (auto _ : state) {
    void* block = ::operator new(size);
    static_cast<unsigned char*>(block)[0] = 1;
    benchmark::DoNotOptimize(block);
    ::operator delete(previous);
    previous = block;
  }
  ::operator delete(previous);
}

// A zero-copy read costs the same whatever the length of the field.
void BM_ZeroCopyRead_CommonPack(benchmark::State& state) {
  const Buffer blob = MakeBuffer(std::string(state.range(0), 'z').data(), state.range(0));
  CommonPack writer;
  writer.AddBufLenDWord(blob, true);
  Buffer in;
  writer.GetBufferOut(in);
  CommonPack pack;
  for (auto _ : state) {
    pack.SetBufferIn(in, true);
    unsigned int len = 0;
    unsigned char* p = nullptr;
    pack.GetDWORD(len, true);
    pack.GetBuf(&p, static_cast<int>(len));
    benchmark::DoNotOptimize(p);
  }
}

BENCHMARK(BM_RecordWrite_Ceiling);
// The default step of 512 (two blocks for this message) and a step that holds
// it in one block.
BENCHMARK(BM_RecordWrite_CommonPack)->Arg(512)->Arg(2048);
BENCHMARK(BM_RecordWrite_ProtobufCoded);
BENCHMARK(BM_RecordWrite_ProtobufMessage);
BENCHMARK(BM_RecordRead_Ceiling);
BENCHMARK(BM_RecordRead_CommonPack);
BENCHMARK(BM_RecordRead_ProtobufCoded);
BENCHMARK(BM_RecordRead_ProtobufMessage);
BENCHMARK(BM_TaggedWrite_Ceiling);
BENCHMARK(BM_TaggedWrite_CommonPack);
BENCHMARK(BM_TaggedWrite_ProtobufCoded);
BENCHMARK(BM_TaggedWrite_ProtobufMessage);
BENCHMARK(BM_TaggedRead_Ceiling);
BENCHMARK(BM_TaggedRead_CommonPack);
BENCHMARK(BM_TaggedRead_CommonPackBuffer);
BENCHMARK(BM_TaggedRead_ProtobufCoded);
BENCHMARK(BM_TaggedRead_ProtobufMessage);
BENCHMARK(BM_MessageBlock_Allocation)->Arg(512)->Arg(2048);
BENCHMARK(BM_ZeroCopyRead_CommonPack)->Arg(16)->Arg(1024)->Arg(65536);

// Prints the console report, then each peer's time over the ceiling's, write,
// read and round trip.
class RatioReporter : public base::bench::MedianTimesReporter {
 public:
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\nRatios to the ceiling (CPU time, lower is better):\n");
    for (const char* message : {"Record", "Tagged"}) {
      std::printf("  %s message:\n", message);
      const double write = Time(message, "Write", "Ceiling");
      const double read = Time(message, "Read", "Ceiling");
      for (const char* peer : {"CommonPack/512", "CommonPack/2048", "CommonPack",
                               "CommonPackBuffer", "ProtobufCoded", "ProtobufMessage"}) {
        const double w = Time(message, "Write", peer), r = Time(message, "Read", peer);
        if (w <= 0 || r <= 0 || write <= 0 || read <= 0)
          continue;
        std::printf("    %-16s write %5.2fx  read %5.2fx  round trip %5.2fx  (%.0f ns)\n", peer,
                    w / write, r / read, (w + r) / (write + read), w + r);
      }
      std::printf("    %-16s round trip %.0f ns\n", "Ceiling", write + read);
    }
  }

 private:
  using MedianTimesReporter::Time;
  double Time(const std::string& message, const std::string& op, const std::string& peer) const {
    // Reads take no step argument: CommonPack/512 and /2048 share one reader.
    // The Buffer-form reader shares the writer of the zero-copy one.
    if ((op == "Read" && peer.rfind("CommonPack/", 0) == 0) ||
        (op == "Write" && peer == "CommonPackBuffer"))
      return Time("BM_" + message + op + "_CommonPack");
    return Time("BM_" + message + op + "_" + peer);
  }
};

}  // namespace

int main(int argc, char** argv) {
  RatioReporter reporter;
  return base::bench::RunBenchmarks(argc, argv, reporter);
}
