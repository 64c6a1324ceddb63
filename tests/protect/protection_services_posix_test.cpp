// What the posix backend's own services and heap refuse, where the system's
// accept more.
#include <gtest/gtest.h>

#include "platform/protection_services.h"

namespace base::platform {
namespace {

TEST(ProtectionServicesPosixTest, MemoryServicesRefuseOtherFlagsAndSizesOffTheUnit) {
  ServiceModule* crypt32 = LoadServiceModule(kCrypt32Module);
  auto protect =
      reinterpret_cast<CryptProtectMemoryFn>(FindServiceFunction(crypt32, "CryptProtectMemory"));
  BYTE block[16] = {};
  EXPECT_FALSE(protect(block, 16, 0));  // same-process scope is not offered
  EXPECT_FALSE(protect(block, 8, kProtectMemoryCrossProcess));
  EXPECT_EQ(block[0], 0);
  ReleaseServiceModule(crypt32);
}

TEST(LocalHeapPosixTest, MovableBlocksAreNotOffered) {
  EXPECT_EQ(LocalAlloc(0x0002 /* LMEM_MOVEABLE */, 8), nullptr);
}

}  // namespace
}  // namespace base::platform
