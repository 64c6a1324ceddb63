// Design note. Memory blocks are enciphered in place, so the cipher must be
// deterministic and keep the length: a block cipher in CBC mode without
// padding, over a length that is a multiple of its block. The unit of each
// service is the block of its cipher: AES-256 (16 bytes) behind
// CryptProtectMemory, triple DES (8 bytes, the only 64-bit block cipher of
// OpenSSL's default provider) behind SystemFunction040. The blocks are small
// and the keys change at every boot, far from the birthday bound of a 64-bit
// block.
//
// Key and IV come from the boot key, one pair per service, so a block of one
// service deciphers to noise under the other. Equal blocks give equal
// results within one boot; that is the price of a deterministic cipher.
#include <openssl/evp.h>

#include "platform/posix/cipher_posix.h"
#include "platform/posix/machine_keys_posix.h"
#include "platform/posix/service_functions_posix.h"
#include "platform/protection_services.h"

namespace base::platform::posix {
namespace {

struct MemoryCipher {
  const EVP_CIPHER* (*cipher)();
  const char* purpose;
  DWORD unit;  // the cipher's block, which is also its IV
  std::size_t keySize;
};

const MemoryCipher kCryptMemoryCipher = {EVP_aes_256_cbc, "memory block/1/aes-256-cbc",
                                         kMemoryBlockUnit, 32};
const MemoryCipher kSystemMemoryCipher = {EVP_des_ede3_cbc, "memory block/1/des-ede3-cbc",
                                          kLegacyMemoryBlockUnit, 24};

// Room for the larger key and IV of the two.
constexpr std::size_t kMaxKeyAndIv = 32 + kMemoryBlockUnit;

bool CipherInPlace(const MemoryCipher& service, void* block, DWORD size, bool encipher) {
  if ((block == nullptr && size != 0) || size % service.unit != 0)
    return false;
  if (size == 0)
    return true;
  ScopedOpensslErrors keepErrorQueue;
  SecretBytes<kMaxKeyAndIv> keyAndIv;
  CipherContext context;
  auto* bytes = static_cast<unsigned char*>(block);
  return context.get() != nullptr &&
         DeriveBootKey(service.purpose, keyAndIv.data(), service.keySize + service.unit) &&
         EVP_CipherInit_ex(context.get(), service.cipher(), nullptr, keyAndIv.data(),
                           keyAndIv.data() + service.keySize, encipher ? 1 : 0) == 1 &&
         EVP_CIPHER_CTX_set_padding(context.get(), 0) == 1 &&
         CipherUpdate(context.get(), bytes, bytes, size);
}

}  // namespace

BOOL CryptProtectMemory(void* block, DWORD size, DWORD flags) {
  return flags == kProtectMemoryCrossProcess &&
         CipherInPlace(kCryptMemoryCipher, block, size, true);
}

BOOL CryptUnprotectMemory(void* block, DWORD size, DWORD flags) {
  return flags == kProtectMemoryCrossProcess &&
         CipherInPlace(kCryptMemoryCipher, block, size, false);
}

LONG SystemFunction040(void* block, DWORD size, DWORD options) {
  return options == kSystemMemoryCrossProcess &&
                 CipherInPlace(kSystemMemoryCipher, block, size, true)
             ? 0
             : kStatusUnsuccessful;
}

LONG SystemFunction041(void* block, DWORD size, DWORD options) {
  return options == kSystemMemoryCrossProcess &&
                 CipherInPlace(kSystemMemoryCipher, block, size, false)
             ? 0
             : kStatusUnsuccessful;
}

}  // namespace base::platform::posix
