#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "base/protect.h"
#include "platform/testing/protection_services_testing.h"
#include "protect_fixture.h"

namespace base {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Seal(const Bytes& data, const wchar_t* description) {
  DATA_BLOB blob{};
  if (CryptDataWinProtect(data.data(), static_cast<DWORD>(data.size()), description, &blob) != 1)
    return {};
  Bytes sealed(blob.pbData, blob.pbData + blob.cbData);
  LocalFree(blob.pbData);
  return sealed;
}

// Opens `blob`; on failure the outputs must be as they were.
bool Open(const Bytes& blob, Bytes* data, std::wstring* description) {
  DATA_BLOB plain{3, nullptr};
  wchar_t* text = nullptr;
  if (DecryptDataWinProtect(blob.data(), static_cast<DWORD>(blob.size()),
                            description != nullptr ? &text : nullptr, &plain) != 1) {
    EXPECT_EQ(plain.cbData, 3u);
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

using DataProtectTest = ProtectTest;

TEST_F(DataProtectTest, RoundTripGivesBackDataAndDescription) {
  const wchar_t kText[] = L"mail password \u00e9\u4e2d\U0001F511";
  for (std::size_t size : {0u, 4u, 12u, 13u, 1u << 20}) {
    SCOPED_TRACE(size);
    const Bytes data = Pattern(size);
    const Bytes blob = Seal(data, kText);
    ASSERT_FALSE(blob.empty());
    Bytes plain;
    std::wstring description;
    ASSERT_TRUE(Open(blob, &plain, &description));
    EXPECT_EQ(plain, data);
    EXPECT_EQ(description, kText);
    // The description pointer may be left out.
    EXPECT_TRUE(Open(blob, &plain, nullptr));
  }
  // No description comes back empty; every seal takes a fresh nonce.
  const Bytes blob = Seal(Pattern(8), nullptr);
  std::wstring description = L"stale";
  ASSERT_TRUE(Open(blob, nullptr, &description));
  EXPECT_EQ(description, L"");
  EXPECT_NE(Seal(Pattern(8), nullptr), blob);
}

TEST_F(DataProtectTest, ChangedCutOrForeignBlobsFail) {
  const Bytes blob = Seal(Pattern(13), L"ab");
  ASSERT_FALSE(blob.empty());
  for (std::size_t i = 0; i < blob.size(); ++i) {
    Bytes changed = blob;
    changed[i] ^= 0x01;
    EXPECT_FALSE(Open(changed, nullptr, nullptr)) << "byte " << i;
  }
  for (std::size_t size = 0; size < blob.size(); ++size)
    EXPECT_FALSE(Open(Bytes(blob.begin(), blob.begin() + size), nullptr, nullptr)) << size;
  Bytes longer = blob;
  longer.push_back(0);
  EXPECT_FALSE(Open(longer, nullptr, nullptr));
  // A description count far beyond the blob (offset 8) must not be followed.
  for (std::uint8_t fill : {0x7Fu, 0xFFu}) {
    Bytes huge = blob;
    std::fill(huge.begin() + 8, huge.begin() + 12, fill);
    EXPECT_FALSE(Open(huge, nullptr, nullptr));
  }
  EXPECT_FALSE(Open({}, nullptr, nullptr));

  // The blob belongs to its machine: another one cannot open it.
  UseIdentity(kMachineB, kBootA);
  EXPECT_FALSE(Open(blob, nullptr, nullptr));
  UseIdentity(kMachineA, kBootB);
  EXPECT_TRUE(Open(blob, nullptr, nullptr));
}

TEST_F(DataProtectTest, AMissingOrMalformedMachineIdFails) {
  for (const char* machine_id :
       {"", "uninitialized\n", "0f3c9a7e5b2d4c6e8a1b3d5f7e9c2a4\n",
        "0f3c9a7e5b2d4c6e8a1b3d5f7e9c2a4b0\n", "0f3c9a7e5b2d4c6e8a1b3d5f7e9c2a4g\n",
        "0f3c9a7e5b2d4c6e8a1b3d5f7e9c2a4b\n\n"}) {
    UseIdentity(machine_id, kBootA);
    EXPECT_TRUE(Seal({1, 2}, nullptr).empty()) << machine_id;
  }
  platform::testing::SetMachineIdentityFiles("/nonexistent/machine-id", "/nonexistent/boot_id");
  EXPECT_TRUE(Seal({1, 2}, nullptr).empty());
  // The newline is optional, and so is lower case.
  UseIdentity("0F3C9A7E5B2D4C6E8A1B3D5F7E9C2A4B", kBootA);
  const Bytes blob = Seal({1, 2}, nullptr);
  UseIdentity(kMachineA, kBootA);
  EXPECT_TRUE(Open(blob, nullptr, nullptr));
}

TEST_F(DataProtectTest, TheDataServicesMustBeThere) {
  platform::testing::RemoveServiceFunction("CryptProtectData");
  EXPECT_TRUE(Seal({1}, nullptr).empty());
  platform::testing::ResetProtectionServices();
  const Bytes blob = Seal({1}, nullptr);
  platform::testing::RemoveServiceModule("Crypt32.dll");
  EXPECT_FALSE(Open(blob, nullptr, nullptr));
  platform::testing::ResetProtectionServices();
  platform::testing::FailServiceFunction("CryptUnprotectData");
  EXPECT_FALSE(Open(blob, nullptr, nullptr));
}

TEST_F(DataProtectTest, TheMachineItselfGivesTheKeysWhereItHasAnIdentity) {
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
