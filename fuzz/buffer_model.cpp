// Buffer alone: a random sequence of its operations, each mirrored on a model
// that knows the whole block, capacity and stale bytes included. Stale bytes
// and capacity are not visible directly; a later Resize inside the capacity
// shows the first, and whether the block pointer moves shows the second.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "fuzz_check.h"
#include "pack_fuzz.h"

namespace pack_fuzz {
namespace {

constexpr std::size_t kMaxOperations = 256;
// Appends from the own contents can double the size at each step: past this
// size they are skipped, so that an input cannot ask for gigabytes.
constexpr std::size_t kMaxSize = 1 << 16;

struct Model {
  Bytes block;  // the whole capacity
  std::size_t size = 0;
  std::size_t allocBase = 1;

  Bytes Contents() const { return Bytes(block.begin(), block.begin() + size); }

  void Clear() {
    block.clear();
    size = 0;
  }

  // Room for `n` bytes, size `n`. A new block is zero-filled, raised to the
  // allocation step, and keeps the first `keep` bytes of the old contents.
  // Returns whether a new block was made.
  bool Adjust(std::size_t n, std::size_t keep) {
    if (n <= block.size()) {
      size = n;
      return false;
    }
    Bytes grown(((n - 1) / allocBase + 1) * allocBase, 0);
    std::copy_n(block.begin(), std::min(keep, size), grown.begin());
    block = std::move(grown);
    size = n;
    return true;
  }

  bool CopyFrom(const Bytes& src) {
    if (src.empty()) {
      Clear();
      return true;
    }
    const bool moved = Adjust(src.size(), 0);
    std::copy(src.begin(), src.end(), block.begin());
    return moved;
  }

  bool Append(const Bytes& src) {
    const std::size_t old = size;
    const bool moved = Adjust(size + src.size(), size);
    std::copy(src.begin(), src.end(), block.begin() + old);
    return moved;
  }

  bool Resize(std::size_t n) {
    if (n == 0) {
      Clear();
      return true;
    }
    return Adjust(n, n);
  }
};

class BufferScript {
 public:
  explicit BufferScript(FuzzedDataProvider& fdp) : fdp_(fdp), buf_(std::make_unique<Buffer>()) {}

  void Run() {
    for (std::size_t i = 0; i < kMaxOperations && fdp_.remaining_bytes() > 0; ++i) {
      RunOne();
      Check();
    }
  }

 private:
  Buffer& buf() { return *buf_; }

  void Check() {
    FUZZ_CHECK(buf().GetSize() == model_.size && buf().IsEmpty() == (model_.size == 0));
    FUZZ_CHECK((buf().GetNativeBuf() == nullptr) == (model_.size == 0));
    FUZZ_CHECK(model_.size == 0 ||
               std::memcmp(buf().GetNativeBuf(), model_.block.data(), model_.size) == 0);
  }

  // The block stays exactly when the model made no new one.
  void ExpectMoved(const unsigned char* before, bool moved) {
    if (model_.size > 0)
      FUZZ_CHECK((buf().GetNativeBuf() != before) == moved);
  }

  // Bytes from the script, with a block behind them even when there are none,
  // so that a non-null pointer of length 0 can be passed.
  Bytes Outside(std::size_t max) {
    Bytes bytes =
        fdp_.ConsumeBytes<unsigned char>(fdp_.ConsumeIntegralInRange<std::size_t>(0, max));
    bytes.reserve(bytes.size() + 1);
    return bytes;
  }

  // What CopyFrom and Append take: `n` bytes at `p`, which hold `bytes`.
  struct Source {
    const unsigned char* p = nullptr;
    std::size_t n = 0;
    Bytes bytes;
  };

  // Bytes from the script; a null pointer with a length; or a range of the own
  // contents, which the call may release under it.
  Source PickSource() {
    Source src;
    const int kind = fdp_.ConsumeIntegralInRange(0, 7);
    if (kind > 1 || model_.size == 0) {
      src.bytes = Outside(512);
      src.n = src.bytes.size();
      src.p = src.bytes.data();
      if (kind == 7) {
        src.p = nullptr;
        src.bytes.clear();
      }
      return src;
    }
    const auto offset = fdp_.ConsumeIntegralInRange<std::size_t>(0, model_.size - 1);
    src.n = fdp_.ConsumeIntegralInRange<std::size_t>(0, model_.size - offset);
    src.p = buf().GetNativeBuf() + offset;
    src.bytes.assign(model_.block.begin() + offset, model_.block.begin() + offset + src.n);
    return src;
  }

  void CopyFrom() {
    const Source src = PickSource();
    const unsigned char* const before = buf().GetNativeBuf();
    // Only the own block is refused, and a null source on an empty buffer is
    // just that.
    const bool refused = src.p == before;
    FUZZ_CHECK(buf().CopyFrom(src.p, src.n) == !refused);
    if (!refused)
      ExpectMoved(before, model_.CopyFrom(src.bytes));
  }

  void Append() {
    const Source src = PickSource();
    if (model_.size + src.n > kMaxSize)
      return;
    const unsigned char* const before = buf().GetNativeBuf();
    unsigned char* const result = buf().Append(src.p, src.n);
    if (src.p == nullptr || src.n == 0) {
      FUZZ_CHECK(result == nullptr);
      return;
    }
    ExpectMoved(before, model_.Append(src.bytes));
    FUZZ_CHECK(result == buf().GetNativeBuf());
  }

  void Resize() {
    const std::size_t n = fdp_.ConsumeIntegralInRange<std::size_t>(
        0, std::min<std::size_t>(2 * model_.block.size() + 64, kMaxSize));
    const unsigned char* const before = buf().GetNativeBuf();
    unsigned char* const result = buf().Resize(n);
    ExpectMoved(before, model_.Resize(n));
    FUZZ_CHECK(result == buf().GetNativeBuf());
  }

  void SetAndGet() {
    const auto i = fdp_.ConsumeIntegralInRange<unsigned int>(0, model_.size + 1);
    const auto b = fdp_.ConsumeIntegral<unsigned char>();
    const bool inside = i < model_.size;
    FUZZ_CHECK(buf().SetAt(i, b) == inside);
    if (inside)
      model_.block[i] = b;
    FUZZ_CHECK(buf().GetAt(i) == (inside ? b : 0));
  }

  void Attach() {
    if (fdp_.ConsumeIntegralInRange(0, 7) == 0) {
      FUZZ_CHECK(!buf().Attach(buf().GetNativeBuf(), model_.size));
      return;
    }
    const Bytes src = fdp_.ConsumeBytes<unsigned char>(fdp_.ConsumeIntegralInRange(0, 256));
    auto* p = static_cast<unsigned char*>(::operator new(src.size() + 1));
    std::copy(src.begin(), src.end(), p);
    FUZZ_CHECK(buf().Attach(p, src.size()));
    // Of length 0 it is not taken over.
    if (src.empty())
      ::operator delete(p);
    model_.Clear();
    model_.block = src;
    model_.size = src.size();
  }

  void Detach() {
    unsigned char* p = buf().Detach();
    FUZZ_CHECK((p == nullptr) == (model_.size == 0));
    FUZZ_CHECK(p == nullptr || std::memcmp(p, model_.block.data(), model_.size) == 0);
    ::operator delete(p);
    model_.Clear();
  }

  // The subject is replaced by its copy, which starts with the step 1 and a
  // block of exactly its size; the original is gone at once.
  void ReplaceByCopy() {
    buf_ = std::make_unique<Buffer>(buf());
    const Bytes contents = model_.Contents();
    model_ = Model();
    model_.CopyFrom(contents);
  }

  // The subject is assigned to a buffer that has its own step and contents,
  // which then replaces it; or to itself, which changes nothing.
  void ReplaceByAssignment() {
    if (fdp_.ConsumeBool()) {
      Buffer& self = buf();
      buf() = self;
      return;
    }
    const auto step = fdp_.ConsumeIntegralInRange<unsigned int>(1, 64);
    auto target = std::make_unique<Buffer>();
    FUZZ_CHECK(target->SetAllocBase(step));
    const Bytes old = Outside(64);
    target->CopyFrom(old.data(), old.size());
    *target = buf();
    buf_ = std::move(target);
    const Bytes contents = model_.Contents();
    model_ = Model();
    model_.allocBase = step;
    model_.CopyFrom(contents);
  }

  void CopyFromBuffer() {
    const Bytes src = Outside(512);
    Buffer other;
    other.CopyFrom(src.data(), src.size());
    const unsigned char* const before = buf().GetNativeBuf();
    // Two empty buffers share the null block, which counts as the own one.
    const bool refused = src.empty() && model_.size == 0;
    FUZZ_CHECK(buf().CopyFromBuffer(other) == !refused);
    if (!refused)
      ExpectMoved(before, model_.CopyFrom(src));
  }

  void SetAllocBase() {
    const auto n = fdp_.ConsumeIntegralInRange<unsigned int>(0, 64);
    FUZZ_CHECK(buf().SetAllocBase(n) == (n != 0));
    if (n != 0)
      model_.allocBase = n;
  }

  // Against a prefix of the contents, perhaps changed in its last byte and
  // perhaps extended, so that equal ranges and proper prefixes come up.
  void Compare() {
    const Bytes contents = model_.Contents();
    Bytes other(contents.begin(),
                contents.begin() + fdp_.ConsumeIntegralInRange<std::size_t>(0, contents.size()));
    if (!other.empty() && fdp_.ConsumeBool())
      other.back() = fdp_.ConsumeIntegral<unsigned char>();
    const Bytes tail = fdp_.ConsumeBytes<unsigned char>(fdp_.ConsumeIntegralInRange(0, 4));
    other.insert(other.end(), tail.begin(), tail.end());
    other.reserve(other.size() + 1);
    if (fdp_.ConsumeIntegralInRange(0, 7) == 0) {
      FUZZ_CHECK(buf().Compare(nullptr, other.size()) == 0);
      return;
    }
    const int want =
        std::lexicographical_compare(contents.begin(), contents.end(), other.begin(), other.end())
            ? -1
        : contents == other ? 0
                            : 1;
    FUZZ_CHECK(buf().Compare(other.data(), other.size()) == want);
  }

  void RunOne() {
    switch (fdp_.ConsumeIntegralInRange(0, 14)) {
      case 0:
        return SetAllocBase();
      case 1:
        FUZZ_CHECK(buf().Empty());
        return model_.Clear();
      case 2:
      case 3:
        return CopyFrom();
      case 4:
      case 5:
        return Append();
      case 6:
      case 7:
        return Resize();
      case 8:
        return SetAndGet();
      case 9:
        return Attach();
      case 10:
        return Detach();
      case 11:
        return ReplaceByCopy();
      case 12:
        return ReplaceByAssignment();
      case 13:
        return CopyFromBuffer();
      default:
        return Compare();
    }
  }

  FuzzedDataProvider& fdp_;
  std::unique_ptr<Buffer> buf_;
  Model model_;
};

}  // namespace

void FuzzBuffer(FuzzedDataProvider& fdp) {
  BufferScript(fdp).Run();
}

}  // namespace pack_fuzz
