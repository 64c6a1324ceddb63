#include "platform/protection_services.h"

#include <gtest/gtest.h>

#include "platform/testing/protection_services_testing.h"

namespace base::platform {
namespace {

class ProtectionServicesTest : public ::testing::Test {
 protected:
  void TearDown() override { testing::ResetProtectionServices(); }
};

TEST_F(ProtectionServicesTest, ModulesAndFunctionsAreFoundByNameAndLoadsCounted) {
  const int open = testing::OpenServiceModules();
  // Module names ignore case, as system library names do; function names not.
  ServiceModule* crypt32 = LoadServiceModule("CRYPT32.dll");
  ServiceModule* advapi32 = LoadServiceModule("advapi32.DLL");
  ASSERT_NE(crypt32, nullptr);
  ASSERT_NE(advapi32, nullptr);
  EXPECT_EQ(testing::OpenServiceModules(), open + 2);
  EXPECT_EQ(LoadServiceModule("NoSuchService.dll"), nullptr);
  // As the system's loader does, a name without an extension means a ".dll".
  ServiceModule* bare = LoadServiceModule("Crypt32");
  EXPECT_NE(bare, nullptr);
  ReleaseServiceModule(bare);
  EXPECT_NE(FindServiceFunction(crypt32, "CryptProtectMemory"), nullptr);
  EXPECT_EQ(FindServiceFunction(crypt32, "cryptprotectmemory"), nullptr);
  EXPECT_EQ(FindServiceFunction(crypt32, "SystemFunction040"), nullptr);
  EXPECT_NE(FindServiceFunction(advapi32, "SystemFunction041"), nullptr);
  EXPECT_EQ(FindServiceFunction(nullptr, "CryptProtectData"), nullptr);

  // A failing stand-in fails without touching its arguments.
  testing::FailServiceFunction("SystemFunction040");
  auto failing =
      reinterpret_cast<SystemMemoryFn>(FindServiceFunction(advapi32, "SystemFunction040"));
  BYTE block[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_NE(failing(block, sizeof block, 1), 0);
  EXPECT_EQ(block[7], 8);

  testing::RemoveServiceFunction("CryptProtectData");
  EXPECT_EQ(FindServiceFunction(crypt32, "CryptProtectData"), nullptr);
  testing::RemoveServiceModule("Advapi32.dll");
  EXPECT_EQ(LoadServiceModule("Advapi32.dll"), nullptr);
  ReleaseServiceModule(crypt32);
  ReleaseServiceModule(advapi32);
  ReleaseServiceModule(nullptr);
  EXPECT_EQ(testing::OpenServiceModules(), open);
}

TEST(LocalHeapTest, BlocksAreFixedZeroedOnRequestAndFreedByLocalFree) {
  auto* zeroed = static_cast<unsigned char*>(LocalAlloc(LPTR, 64));
  ASSERT_NE(zeroed, nullptr);
  for (int i = 0; i < 64; ++i)
    EXPECT_EQ(zeroed[i], 0);
  EXPECT_EQ(LocalFree(zeroed), nullptr);
  HLOCAL empty = LocalAlloc(LMEM_FIXED, 0);
  EXPECT_NE(empty, nullptr);
  LocalFree(empty);
  EXPECT_EQ(LocalFree(nullptr), nullptr);
}

}  // namespace
}  // namespace base::platform
