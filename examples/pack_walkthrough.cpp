// The packer: a message is written field by field with CommonPack (fixed
// fields in both byte orders, length-headed text, TLV fields), handed over to
// a Buffer without a copy, and read back in place by a second pack.
#include "pack_walkthrough.h"

#include <cstdio>
#include <string>

#include "base/buffer.h"
#include "base/commonpack.h"

namespace {

// Tags of the demo's TLV fields.
constexpr unsigned char kTagUser = 0x01;
constexpr unsigned short kTagRoles = 0x0102;

Buffer TextBuffer(const char* text) {
  Buffer b;
  b.CopyFrom(reinterpret_cast<const unsigned char*>(text),
             static_cast<unsigned int>(std::string(text).size()));
  return b;
}

bool WriteMessage(CommonPack& pack) {
  return pack.AddBYTE(0x7F) && pack.AddWORD(0x1234, true) && pack.AddWORD(0x1234, false) &&
         pack.AddDWORD(0x12345678, true) && pack.AddDWORD(0x12345678, false) &&
         pack.AddUINT64(0x0102030405060708ull, true) && pack.AddStrLenByte("hello, packer") &&
         pack.AddStrLenWord("network order", true) &&
         pack.AddTLV(kTagUser, TextBuffer("alice"), OrvCommPackDataByte) &&
         pack.AddTLV(kTagRoles, TextBuffer("admin,ops"), OrvCommPackDataWord);
}

void PrintHex(const Buffer& b) {
  for (unsigned int i = 0; i < b.GetSize(); ++i)
    std::printf("%02X%s", b.GetAt(i), (i + 1) % 16 == 0 || i + 1 == b.GetSize() ? "\n" : " ");
}

bool ReadMessage(CommonPack& pack) {
  unsigned char byte = 0;
  unsigned short wordBig = 0, wordLittle = 0;
  unsigned int dwordBig = 0, dwordLittle = 0;
  unsigned long long qword = 0;
  std::string greeting, motto;
  if (!pack.GetBYTE(byte) || !pack.GetWORD(wordBig, true) || !pack.GetWORD(wordLittle, false) ||
      !pack.GetDWORD(dwordBig, true) || !pack.GetDWORD(dwordLittle, false) ||
      !pack.GetUINT64(qword, true) || !pack.GetStrByteLenHead(greeting) ||
      !pack.GetStrWordLenHead(motto))
    return false;
  std::printf("  byte              0x%02X\n", byte);
  std::printf("  word  big/little  0x%04X / 0x%04X\n", wordBig, wordLittle);
  std::printf("  dword big/little  0x%08X / 0x%08X\n", dwordBig, dwordLittle);
  std::printf("  uint64 big        0x%016llX\n", qword);
  std::printf("  byte-headed text  \"%s\"\n", greeting.c_str());
  std::printf("  word-headed text  \"%s\"\n", motto.c_str());

  // TLV values are read in place: the pointers lead into the caller's Buffer.
  unsigned char userTag = 0;
  unsigned short rolesTag = 0;
  unsigned char* value = nullptr;
  unsigned int len = 0;
  if (!pack.GetTLV(userTag, &value, len, OrvCommPackDataByte))
    return false;
  std::printf("  TLV tag 0x%02X      \"%.*s\"\n", userTag, static_cast<int>(len), value);
  if (!pack.GetTLV(rolesTag, &value, len, OrvCommPackDataWord))
    return false;
  std::printf("  TLV tag 0x%04X    \"%.*s\"\n", rolesTag, static_cast<int>(len), value);
  return pack.GetBufferByteLeft() == 0;
}

}  // namespace

int RunPackWalkthrough() {
  std::puts("CommonPack: a message written field by field");
  CommonPack writer;
  if (!WriteMessage(writer)) {
    std::puts("  writing failed");
    return 1;
  }
  Buffer message;
  writer.GetBufferOut(message);
  std::printf("  %u bytes on the wire:\n", message.GetSize());
  PrintHex(message);

  std::puts("Read back on a second pack:");
  CommonPack reader;
  reader.SetBufferIn(message, true);
  if (!ReadMessage(reader)) {
    std::puts("  reading failed");
    return 1;
  }
  return 0;
}
