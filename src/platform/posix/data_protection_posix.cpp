// Design note. A data blob is sealed with AES-256-GCM under a key derived from
// the machine identity, with a fresh random nonce per blob. The description is
// stored in clear and authenticated with the header, so neither can be changed
// or moved to another blob without the whole blob failing to open.
//
//   offset    size  field
//   0         4     magic "bPDB"
//   4         4     format version, little-endian; 1 is this layout
//   8         4     description length n in characters, little-endian
//   12        12    nonce
//   24        4n    description, UTF-32 little-endian, no terminator
//   24+4n     m     the data, enciphered
//   24+4n+m   16    authentication tag
//
// Everything before the data is the associated data of the seal. The reader
// trusts no field before the tag has been checked, and checks every length
// against the blob before it looks at the bytes behind it.
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <cstdint>
#include <cstring>
#include <cwchar>

#include "platform/posix/cipher_posix.h"
#include "platform/posix/machine_keys_posix.h"
#include "platform/posix/service_functions_posix.h"
#include "platform/protection_services.h"

namespace base::platform::posix {
namespace {

static_assert(sizeof(wchar_t) == 4, "descriptions are stored as UTF-32");

constexpr unsigned char kMagic[4] = {'b', 'P', 'D', 'B'};
constexpr std::uint32_t kFormatVersion = 1;
constexpr std::size_t kVersionOffset = 4;
constexpr std::size_t kCharsOffset = 8;
constexpr std::size_t kNonceOffset = 12;
constexpr std::size_t kNonceSize = 12;
constexpr std::size_t kHeaderSize = kNonceOffset + kNonceSize;
constexpr std::size_t kTagSize = 16;
constexpr std::size_t kKeySize = 32;
constexpr char kKeyPurpose[] = "data blob/1/aes-256-gcm";

void StoreLe32(unsigned char* at, std::uint32_t value) {
  for (int i = 0; i < 4; ++i)
    at[i] = static_cast<unsigned char>(value >> (8 * i));
}

std::uint32_t LoadLe32(const unsigned char* at) {
  return static_cast<std::uint32_t>(at[0]) | static_cast<std::uint32_t>(at[1]) << 8 |
         static_cast<std::uint32_t>(at[2]) << 16 | static_cast<std::uint32_t>(at[3]) << 24;
}

bool ValidBlob(const DATA_BLOB* blob) {
  return blob != nullptr && (blob->pbData != nullptr || blob->cbData == 0);
}

// Entropy, prompts and a per-user scope are not offered: refusing them is
// honest, ignoring them would weaken what the caller asked for.
bool AcceptedCall(const DATA_BLOB* input,
                  const DATA_BLOB* output,
                  const DATA_BLOB* entropy,
                  const void* reserved,
                  const void* prompt,
                  DWORD flags,
                  DWORD expectedFlags) {
  return ValidBlob(input) && output != nullptr && entropy == nullptr && reserved == nullptr &&
         prompt == nullptr && flags == expectedFlags;
}

// Seals `data` behind the header that `blob` already holds, and writes the
// nonce into the header first. `blob` has room for header, data and tag.
bool Seal(unsigned char* blob,
          std::size_t headerSize,
          const unsigned char* data,
          std::size_t dataSize) {
  SecretBytes<kKeySize> key;
  CipherContext context;
  unsigned char* sealed = blob + headerSize;
  int finalSize = 0;
  return context.get() != nullptr && DeriveMachineKey(kKeyPurpose, key.data(), key.size()) &&
         RAND_bytes(blob + kNonceOffset, kNonceSize) == 1 &&
         EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, key.data(),
                            blob + kNonceOffset) == 1 &&
         CipherUpdate(context.get(), nullptr, blob, headerSize) &&
         CipherUpdate(context.get(), sealed, data, dataSize) &&
         EVP_EncryptFinal_ex(context.get(), sealed + dataSize, &finalSize) == 1 &&
         EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, kTagSize, sealed + dataSize) == 1;
}

// Opens the sealed data of `blob` into `plain`; false if anything of the blob
// was changed or the key differs.
bool Open(const unsigned char* blob,
          std::size_t headerSize,
          std::size_t dataSize,
          unsigned char* plain) {
  SecretBytes<kKeySize> key;
  CipherContext context;
  const unsigned char* sealed = blob + headerSize;
  // OpenSSL takes the expected tag through a non-const pointer but only reads it.
  unsigned char tag[kTagSize];
  std::memcpy(tag, sealed + dataSize, kTagSize);
  int finalSize = 0;
  return context.get() != nullptr && DeriveMachineKey(kKeyPurpose, key.data(), key.size()) &&
         EVP_DecryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, key.data(),
                            blob + kNonceOffset) == 1 &&
         CipherUpdate(context.get(), nullptr, blob, headerSize) &&
         CipherUpdate(context.get(), plain, sealed, dataSize) &&
         EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, kTagSize, tag) == 1 &&
         EVP_DecryptFinal_ex(context.get(), plain + dataSize, &finalSize) == 1;
}

// A LocalAlloc copy of the stored description, terminated.
wchar_t* CopyDescription(const unsigned char* stored, std::size_t chars) {
  auto* text = static_cast<wchar_t*>(LocalAlloc(LMEM_FIXED, (chars + 1) * sizeof(wchar_t)));
  if (text == nullptr)
    return nullptr;
  for (std::size_t i = 0; i < chars; ++i)
    text[i] = static_cast<wchar_t>(LoadLe32(stored + 4 * i));
  text[chars] = L'\0';
  return text;
}

}  // namespace

BOOL CryptProtectData(DATA_BLOB* input,
                      const wchar_t* description,
                      DATA_BLOB* entropy,
                      void* reserved,
                      void* prompt,
                      DWORD flags,
                      DATA_BLOB* output) {
  if (!AcceptedCall(input, output, entropy, reserved, prompt, flags, kProtectLocalMachine))
    return FALSE;
  const std::uint64_t chars = description != nullptr ? std::wcslen(description) : 0;
  const std::uint64_t headerSize = kHeaderSize + 4 * chars;
  const std::uint64_t total = headerSize + input->cbData + kTagSize;
  if (total > UINT32_MAX)
    return FALSE;
  auto* blob = static_cast<unsigned char*>(LocalAlloc(LMEM_FIXED, total));
  if (blob == nullptr)
    return FALSE;
  std::memcpy(blob, kMagic, sizeof kMagic);
  StoreLe32(blob + kVersionOffset, kFormatVersion);
  StoreLe32(blob + kCharsOffset, static_cast<std::uint32_t>(chars));
  for (std::uint64_t i = 0; i < chars; ++i)
    StoreLe32(blob + kHeaderSize + 4 * i, static_cast<std::uint32_t>(description[i]));
  ScopedOpensslErrors keepErrorQueue;
  if (!Seal(blob, headerSize, input->pbData, input->cbData)) {
    LocalFree(blob);
    return FALSE;
  }
  output->cbData = static_cast<DWORD>(total);
  output->pbData = blob;
  return TRUE;
}

BOOL CryptUnprotectData(DATA_BLOB* input,
                        wchar_t** description,
                        DATA_BLOB* entropy,
                        void* reserved,
                        void* prompt,
                        DWORD flags,
                        DATA_BLOB* output) {
  if (!AcceptedCall(input, output, entropy, reserved, prompt, flags, kProtectUiForbidden))
    return FALSE;
  const unsigned char* blob = input->pbData;
  const std::uint64_t size = input->cbData;
  if (size < kHeaderSize + kTagSize || std::memcmp(blob, kMagic, sizeof kMagic) != 0 ||
      LoadLe32(blob + kVersionOffset) != kFormatVersion)
    return FALSE;
  const std::uint64_t chars = LoadLe32(blob + kCharsOffset);
  const std::uint64_t headerSize = kHeaderSize + 4 * chars;
  if (headerSize + kTagSize > size)
    return FALSE;
  const std::size_t dataSize = size - headerSize - kTagSize;

  auto* plain = static_cast<unsigned char*>(LocalAlloc(LMEM_FIXED, dataSize));
  if (plain == nullptr)
    return FALSE;
  ScopedOpensslErrors keepErrorQueue;
  wchar_t* text = nullptr;
  const bool opened =
      Open(blob, headerSize, dataSize, plain) &&
      (description == nullptr || (text = CopyDescription(blob + kHeaderSize, chars)) != nullptr);
  if (!opened) {
    // GCM writes plain bytes before it checks the tag; none may escape.
    SecureWipe(plain, dataSize);
    LocalFree(plain);
    return FALSE;
  }
  if (description != nullptr)
    *description = text;
  output->cbData = static_cast<DWORD>(dataSize);
  output->pbData = plain;
  return TRUE;
}

}  // namespace base::platform::posix
