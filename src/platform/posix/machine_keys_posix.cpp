// Design note. The machine id (systemd's /etc/machine-id, 32 hex digits) is
// never used as a key itself: other programs read it, and a key must not leak
// it back. Like systemd's application-specific ids, each key is a keyed hash
// of the id under a salt of this library and a purpose label, so keys of
// different purposes are unrelated and none reveals the id.
//
// A missing or malformed identity is a failure, never a fallback key: a blob
// sealed under a made-up identity would silently fail to open once the real
// one appears. "uninitialized" (systemd's first-boot marker) counts as
// malformed for the same reason.
#include "platform/posix/machine_keys_posix.h"

#include <fcntl.h>
#include <openssl/core_names.h>
#include <openssl/kdf.h>
#include <openssl/params.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>

#include "platform/testing/protection_services_testing.h"

namespace base::platform::posix {
namespace {

constexpr char kMachineIdPath[] = "/etc/machine-id";
constexpr char kBootIdPath[] = "/proc/sys/kernel/random/boot_id";

// Fixed for this library: changing it makes every existing blob unreadable.
constexpr unsigned char kApplicationSalt[16] = {0xb2, 0xe8, 0x82, 0x41, 0xf6, 0xf3, 0xf3, 0x99,
                                                0x0a, 0x26, 0x54, 0x4b, 0x50, 0x8c, 0xaa, 0xc0};

constexpr std::size_t kIdBytes = 16;

struct IdentityPaths {
  std::string machineId = kMachineIdPath;
  std::string bootId = kBootIdPath;
};

std::mutex g_pathsLock;
IdentityPaths g_paths;

IdentityPaths CurrentPaths() {
  std::lock_guard<std::mutex> hold(g_pathsLock);
  return g_paths;
}

// Reads a file of at most `capacity` bytes into `text`; false if it cannot be
// read or is longer.
bool ReadSmallFile(const std::string& path, char* text, std::size_t capacity, std::size_t& size) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0)
    return false;
  size = 0;
  bool ok = true;
  // Room for one byte more than allowed tells a file that is too long.
  while (ok && size <= capacity) {
    const ssize_t got = read(fd, text + size, capacity + 1 - size);
    if (got == 0)
      break;
    if (got > 0)
      size += static_cast<std::size_t>(got);
    else
      ok = errno == EINTR;
  }
  close(fd);
  return ok && size <= capacity;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9')
    return c - '0';
  if (c >= 'a' && c <= 'f')
    return c - 'a' + 10;
  if (c >= 'A' && c <= 'F')
    return c - 'A' + 10;
  return -1;
}

// Reads a 128-bit id into `id` (kIdBytes): 32 hex digits, or with
// `uuid_form` the 36 characters of a UUID, then at most one newline.
bool ReadId(const std::string& path, bool uuidForm, unsigned char* id) {
  constexpr std::size_t kCapacity = 40;
  char text[kCapacity + 1];
  std::size_t size = 0;
  bool ok = ReadSmallFile(path, text, kCapacity, size);
  if (ok && size > 0 && text[size - 1] == '\n')
    --size;
  ok = ok && size == (uuidForm ? 36u : 32u);
  std::size_t digits = 0;
  for (std::size_t i = 0; ok && i < size; ++i) {
    if (uuidForm && (i == 8 || i == 13 || i == 18 || i == 23)) {
      ok = text[i] == '-';
      continue;
    }
    const int value = HexValue(text[i]);
    ok = value >= 0;
    if (ok && digits % 2 == 0)
      id[digits / 2] = static_cast<unsigned char>(value << 4);
    else if (ok)
      id[digits / 2] = static_cast<unsigned char>(id[digits / 2] | value);
    ++digits;
  }
  SecureWipe(text, sizeof text);
  return ok;
}

bool Hkdf(const unsigned char* ikm,
          std::size_t ikmSize,
          const char* purpose,
          unsigned char* key,
          std::size_t size) {
  EVP_KDF* kdf = EVP_KDF_fetch(nullptr, "HKDF", nullptr);
  EVP_KDF_CTX* context = kdf != nullptr ? EVP_KDF_CTX_new(kdf) : nullptr;
  EVP_KDF_free(kdf);
  if (context == nullptr)
    return false;
  char digest[] = "SHA256";
  OSSL_PARAM params[] = {OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest, 0),
                         OSSL_PARAM_construct_octet_string(
                             OSSL_KDF_PARAM_KEY, const_cast<unsigned char*>(ikm), ikmSize),
                         OSSL_PARAM_construct_octet_string(
                             OSSL_KDF_PARAM_SALT, const_cast<unsigned char*>(kApplicationSalt),
                             sizeof kApplicationSalt),
                         OSSL_PARAM_construct_octet_string(
                             OSSL_KDF_PARAM_INFO, const_cast<char*>(purpose), std::strlen(purpose)),
                         OSSL_PARAM_construct_end()};
  const bool ok = EVP_KDF_derive(context, key, size, params) == 1;
  EVP_KDF_CTX_free(context);
  return ok;
}

}  // namespace

bool DeriveMachineKey(const char* purpose, unsigned char* key, std::size_t size) {
  SecretBytes<kIdBytes> machine;
  return ReadId(CurrentPaths().machineId, false, machine.data()) &&
         Hkdf(machine.data(), machine.size(), purpose, key, size);
}

bool DeriveBootKey(const char* purpose, unsigned char* key, std::size_t size) {
  const IdentityPaths paths = CurrentPaths();
  SecretBytes<2 * kIdBytes> identity;
  return ReadId(paths.machineId, false, identity.data()) &&
         ReadId(paths.bootId, true, identity.data() + kIdBytes) &&
         Hkdf(identity.data(), identity.size(), purpose, key, size);
}

}  // namespace base::platform::posix

namespace base::platform::testing {

void SetMachineIdentityFiles(const std::string& machineIdPath, const std::string& bootIdPath) {
  std::lock_guard<std::mutex> hold(posix::g_pathsLock);
  posix::g_paths.machineId = machineIdPath;
  posix::g_paths.bootId = bootIdPath;
}

void ResetMachineIdentity() {
  std::lock_guard<std::mutex> hold(posix::g_pathsLock);
  posix::g_paths = posix::IdentityPaths();
}

}  // namespace base::platform::testing
