// Shared set-up of the protection tests: on posix a machine identity of the
// test's own (so results do not depend on the machine that runs them; Windows
// keys the services to the machine itself), all services present, and a check
// that every module a call loaded was released. And the round trips the tests
// make through the exported calls.
#ifndef BASE_TESTS_PROTECT_PROTECT_FIXTURE_H_
#define BASE_TESTS_PROTECT_PROTECT_FIXTURE_H_

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "base/protect.h"
#include "platform/testing/os_version_testing.h"
#include "platform/testing/protection_services_testing.h"
#include "support/under_wine.h"

namespace base {

inline constexpr char kMachineA[] = "0f3c9a7e5b2d4c6e8a1b3d5f7e9c2a4b\n";
inline constexpr char kMachineB[] = "7d1e3f5a9c2b4d6e8f0a1c3e5b7d9f2a\n";
inline constexpr char kBootA[] = "5e2f8a1c-3b4d-4e6f-8a9b-0c1d2e3f4a5b\n";
inline constexpr char kBootB[] = "9a8b7c6d-5e4f-4a3b-9c2d-1e0f2a3b4c5d\n";

class ProtectTest : public ::testing::Test {
 protected:
  void SetUp() override {
#if !defined(_WIN32)
    UseIdentity(kMachineA, kBootA);
#endif
  }

  void TearDown() override {
#if !defined(_WIN32)
    std::remove(machine_path_.c_str());
    std::remove(boot_path_.c_str());
    platform::testing::ResetMachineIdentity();
#endif
    platform::testing::ResetProtectionServices();
    platform::testing::ResetOsVersion();
    EXPECT_EQ(platform::testing::OpenServiceModules(), 0);
  }

#if !defined(_WIN32)
  // Points the keys at identity files with these contents.
  // Tests run in parallel processes: the files are named per process.
  void UseIdentity(const std::string& machine_id, const std::string& boot_id) {
    const std::string stem = ::testing::TempDir() + "protect_test_" + std::to_string(getpid());
    machine_path_ = stem + "_machine_id";
    boot_path_ = stem + "_boot_id";
    std::ofstream(machine_path_, std::ios::trunc) << machine_id;
    std::ofstream(boot_path_, std::ios::trunc) << boot_id;
    platform::testing::SetMachineIdentityFiles(machine_path_, boot_path_);
  }
#endif

  // Leaves SystemFunction040/041 as the first memory service found.
  static void UseSecondMemoryService() {
    platform::testing::RemoveServiceFunction("CryptProtectMemory");
    platform::testing::RemoveServiceFunction("CryptUnprotectMemory");
  }

  // Leaves CryptProtectData/CryptUnprotectData as the only memory service.
  static void UseThirdMemoryService() {
    UseSecondMemoryService();
    platform::testing::RemoveServiceModule("Advapi32.dll");
  }

  // Wine 8's CryptProtectData refuses empty data, which Windows protects.
  static bool EmptyDataIsRefused() {
    return testing::UnderWine();
  }

  // Wine 8's CryptProtectMemory and SystemFunction040/041 return success and
  // leave the block as it was.
  static bool MemoryServicesAreStubs() {
    return testing::UnderWine();
  }

  // Bytes that differ from their neighbours and from zero padding.
  static std::vector<std::uint8_t> Pattern(std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i)
      bytes[i] = static_cast<std::uint8_t>(i * 7 + 1);
    return bytes;
  }

 private:
  std::string machine_path_;
  std::string boot_path_;
};

using Bytes = std::vector<std::uint8_t>;

// A sealed data blob, or nothing if the seal failed.
inline Bytes Seal(const Bytes& data, const wchar_t* description) {
  DATA_BLOB blob{};
  if (CryptDataWinProtect(data.data(), static_cast<DWORD>(data.size()), description, &blob) != 1)
    return {};
  Bytes sealed(blob.pbData, blob.pbData + blob.cbData);
  LocalFree(blob.pbData);
  return sealed;
}

// Opens `blob`; on failure the outputs must be as they were.
inline bool Open(const Bytes& blob, Bytes* data, std::wstring* description) {
  DATA_BLOB plain{3, nullptr};
  wchar_t* text = nullptr;
  if (DecryptDataWinProtect(blob.data(), static_cast<DWORD>(blob.size()),
                            description != nullptr ? &text : nullptr, &plain) != 1) {
#if !defined(_WIN32)
    // The posix services leave the output alone; the system's may clear it.
    EXPECT_EQ(plain.cbData, 3u);
#endif
    EXPECT_EQ(plain.pbData, nullptr);
    EXPECT_EQ(text, nullptr);
    return false;
  }
  if (data != nullptr)
    *data = Bytes(plain.pbData, plain.pbData + plain.cbData);
  if (description != nullptr)
    *description = text;
  LocalFree(plain.pbData);
  LocalFree(text);
  return true;
}

// A protected memory block owned by the test, freed with LocalFree.
struct Protected {
  int ok = -1;
  BYTE* block = nullptr;
  DWORD size = 0;
  Bytes Copy() const { return Bytes(block, block + size); }
};

inline Protected ProtectMemory(const Bytes& data) {
  Protected out;
  out.ok =
      CryptMemroyWinProtect(data.data(), static_cast<DWORD>(data.size()), &out.block, &out.size);
  return out;
}

// Deciphers a copy of `block`; gives the data, or nothing with `ok` false.
inline Bytes UnprotectMemory(Bytes block, bool& ok) {
  BYTE* result = reinterpret_cast<BYTE*>(1);
  DWORD length = 99;
  ok = DecryptMemoryWinProtect(block.data(), static_cast<DWORD>(block.size()), &result, &length) ==
       1;
  if (!ok) {
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(length, 0u);
    return {};
  }
  Bytes data(result, result + length);
  LocalFree(result);
  return data;
}

}  // namespace base

#endif  // BASE_TESTS_PROTECT_PROTECT_FIXTURE_H_
