#include <gtest/gtest.h>

#include <string>

#include "base/protect.h"
#include "platform/testing/protection_services_testing.h"
#include "protect_fixture.h"

namespace base {
namespace {

using DataProtectTest = ProtectTest;

TEST_F(DataProtectTest, RoundTripGivesBackDataAndDescription) {
  const wchar_t kText[] = L"mail password \u00e9\u4e2d\U0001F511";
  for (std::size_t size : {0u, 4u, 12u, 13u, 1u << 20}) {
    SCOPED_TRACE(size);
    if (size == 0 && EmptyDataIsRefused())
      continue;
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
  for (std::size_t size = 0; size < blob.size(); ++size)
    EXPECT_FALSE(Open(Bytes(blob.begin(), blob.begin() + size), nullptr, nullptr)) << size;
  // Wine 8's CryptUnprotectData checks neither the master key's id nor
  // several header fields, nor bytes after the blob.
  if (testing::UnderWine())
    return;
  for (std::size_t i = 0; i < blob.size(); ++i) {
    Bytes changed = blob;
    changed[i] ^= 0x01;
    EXPECT_FALSE(Open(changed, nullptr, nullptr)) << "byte " << i;
  }
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

}  // namespace
}  // namespace base
