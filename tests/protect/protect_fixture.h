// Shared set-up of the protection tests: a machine identity of the test's own
// (so results do not depend on the machine that runs them), all services
// present, and a check that every module a call loaded was released.
#ifndef BASE_TESTS_PROTECT_PROTECT_FIXTURE_H_
#define BASE_TESTS_PROTECT_PROTECT_FIXTURE_H_

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "platform/testing/os_version_testing.h"
#include "platform/testing/protection_services_testing.h"

namespace base {

inline constexpr char kMachineA[] = "0f3c9a7e5b2d4c6e8a1b3d5f7e9c2a4b\n";
inline constexpr char kMachineB[] = "7d1e3f5a9c2b4d6e8f0a1c3e5b7d9f2a\n";
inline constexpr char kBootA[] = "5e2f8a1c-3b4d-4e6f-8a9b-0c1d2e3f4a5b\n";
inline constexpr char kBootB[] = "9a8b7c6d-5e4f-4a3b-9c2d-1e0f2a3b4c5d\n";

class ProtectTest : public ::testing::Test {
 protected:
  void SetUp() override { UseIdentity(kMachineA, kBootA); }

  void TearDown() override {
    std::remove(machine_path_.c_str());
    std::remove(boot_path_.c_str());
    platform::testing::ResetProtectionServices();
    platform::testing::ResetMachineIdentity();
    platform::testing::ResetOsVersion();
    EXPECT_EQ(platform::testing::OpenServiceModules(), 0);
  }

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

}  // namespace base

#endif  // BASE_TESTS_PROTECT_PROTECT_FIXTURE_H_
