// Buffer: an owning block of raw bytes with a size, a capacity and an
// allocation step. No terminator and no text semantics: a pointer, a length and
// a capacity. CommonPack reads its input from a Buffer and hands its finished
// output over to one.
//
// Ownership: the block comes from the scalar allocation function
// (`::operator new(n)`) and goes back through the scalar release function
// (`::operator delete(p)`). A block given to Attach must come from there too;
// a block taken with Detach must be released there (not with `delete[]`).
//
// Allocation: failures surface as std::bad_alloc and leave the buffer as it
// stood. A size or capacity that would not fit in 32 bits is refused the same
// way, before anything changes.
//
// Threading: no locks. A Buffer belongs to one thread at a time.
//
// Field order is part of the binary contract with modules built apart:
// data, size, allocBase, capacity.
#ifndef BASE_BUFFER_H_
#define BASE_BUFFER_H_

#include "base/export.h"

class BASE_EXPORT Buffer {
 public:
  Buffer();
  // Copies the contents only; the new buffer keeps the allocation step 1.
  Buffer(const Buffer& other);
  ~Buffer();
  // Always gives up the own block, even when it was large enough, and copies
  // the contents; the own allocation step stays.
  Buffer& operator=(const Buffer& other);

  // Allocation step of later reallocations: a new block is the requested size
  // raised to a multiple of `n`. `n` 0 is refused with false.
  bool SetAllocBase(unsigned int n);

  bool IsEmpty() const { return data == nullptr; }
  // Releases the block; always true.
  bool Empty();

  // The block, or null when empty. The buffer stays the owner.
  unsigned char* GetNativeBuf() const { return data; }
  unsigned int GetSize() const { return size; }
  // The byte at `i`, or 0 when `i` is not below the size: a stored 0 and an
  // index out of range look alike.
  unsigned char GetAt(unsigned int i) const;
  // False when `i` is not below the size; never grows the buffer.
  bool SetAt(unsigned int i, unsigned char b);

  // Replaces the contents with `n` bytes from `src`. A null `src` or `n` 0
  // empties the buffer. False, with nothing changed, only when `src` is the own
  // block (including a null `src` on an empty buffer). `src` may lie inside the
  // own block when a new block has to be made: it is released after the copy.
  bool CopyFrom(const unsigned char* src, unsigned int n);
  bool CopyFromBuffer(const Buffer& other);

  // Takes over `p` (from `::operator new`) as a block of `n` bytes, releasing
  // the old one. A null `p` or `n` 0 just empties the buffer, and a non-null `p`
  // with `n` 0 stays the caller's. False only when `p` is the own block.
  bool Attach(unsigned char* p, unsigned int n);
  // Gives the block away (null when empty); release it with `::operator delete`.
  unsigned char* Detach();

  // Sets the size to `n`. Inside the capacity nothing is allocated, copied or
  // cleared: bytes between an earlier and a later size keep what they held. A
  // new block keeps the old contents and is zero behind them. `n` 0 empties the
  // buffer and returns null; otherwise returns the block.
  unsigned char* Resize(unsigned int n);
  // Adds `n` bytes from `src` behind the contents and returns the start of the
  // whole block. A null `src` or `n` 0 returns null and changes nothing, so null
  // does not mean empty. `src` may lie inside the own block.
  unsigned char* Append(const unsigned char* src, unsigned int n);

  // Orders the contents against `n` bytes at `p`, bytes unsigned, a proper
  // prefix first: exactly -1, 0 or 1. A null `p` compares equal to anything.
  int Compare(const unsigned char* p, unsigned int n) const;

 private:
  // The one place where a block is made: room for `n` bytes, size `n`. A new
  // block is zero-filled; the old one is neither copied nor released here.
  void AdjustBuffer(unsigned int n);
  void Release();

  unsigned char* data;
  unsigned int size;
  unsigned int allocBase;
  unsigned int capacity;
};

#endif  // BASE_BUFFER_H_
