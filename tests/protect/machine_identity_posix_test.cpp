// What the posix backend keys its protection to: the machine's identity and
// its boot, read from files that tests point elsewhere.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "protect_fixture.h"

namespace base {
namespace {

using MachineIdentityTest = ProtectTest;

TEST_F(MachineIdentityTest, ADataBlobBelongsToItsMachine) {
  const Bytes blob = Seal(Pattern(13), L"ab");
  ASSERT_FALSE(blob.empty());
  UseIdentity(kMachineB, kBootA);
  EXPECT_FALSE(Open(blob, nullptr, nullptr));
  UseIdentity(kMachineA, kBootB);
  EXPECT_TRUE(Open(blob, nullptr, nullptr));
}

TEST_F(MachineIdentityTest, AMemoryBlockBelongsToItsBoot) {
  const Protected block = ProtectMemory(Pattern(12));
  ASSERT_EQ(block.ok, 1);
  bool ok = true;
  // Another boot, or a machine without a readable boot id.
  UseIdentity(kMachineA, kBootB);
  UnprotectMemory(block.Copy(), ok);
  EXPECT_FALSE(ok);
  UseIdentity(kMachineA, "");
  EXPECT_EQ(ProtectMemory(Pattern(3)).ok, 0);
  UseIdentity(kMachineA, kBootA);
  EXPECT_EQ(UnprotectMemory(block.Copy(), ok), Pattern(12));
  EXPECT_TRUE(ok);
  LocalFree(block.block);
}

TEST_F(MachineIdentityTest, AMissingOrMalformedMachineIdFails) {
  for (const char* machineId :
       {"", "uninitialized\n", "0f3c9a7e5b2d4c6e8a1b3d5f7e9c2a4\n",
        "0f3c9a7e5b2d4c6e8a1b3d5f7e9c2a4b0\n", "0f3c9a7e5b2d4c6e8a1b3d5f7e9c2a4g\n",
        "0f3c9a7e5b2d4c6e8a1b3d5f7e9c2a4b\n\n"}) {
    UseIdentity(machineId, kBootA);
    EXPECT_TRUE(Seal({1, 2}, nullptr).empty()) << machineId;
  }
  platform::testing::SetMachineIdentityFiles("/nonexistent/machine-id", "/nonexistent/boot_id");
  EXPECT_TRUE(Seal({1, 2}, nullptr).empty());
  // The newline is optional, and so is lower case.
  UseIdentity("0F3C9A7E5B2D4C6E8A1B3D5F7E9C2A4B", kBootA);
  const Bytes blob = Seal({1, 2}, nullptr);
  UseIdentity(kMachineA, kBootA);
  EXPECT_TRUE(Open(blob, nullptr, nullptr));
}

TEST_F(MachineIdentityTest, TheMachineItselfGivesTheKeysWhereItHasAnIdentity) {
  platform::testing::ResetMachineIdentity();
  if (!std::ifstream("/etc/machine-id") || !std::ifstream("/proc/sys/kernel/random/boot_id"))
    GTEST_SKIP() << "this machine has no identity files";
  const Bytes blob = Seal(Pattern(20), L"x");
  ASSERT_FALSE(blob.empty());
  EXPECT_TRUE(Open(blob, nullptr, nullptr));
  BYTE* block = nullptr;
  DWORD size = 0;
  ASSERT_EQ(CryptMemroyWinProtect(Pattern(20).data(), 20, &block, &size), 1);
  BYTE* data = nullptr;
  DWORD length = 0;
  ASSERT_EQ(DecryptMemoryWinProtect(block, size, &data, &length), 1);
  EXPECT_EQ(Bytes(data, data + length), Pattern(20));
  LocalFree(data);
  LocalFree(block);
}

}  // namespace
}  // namespace base
