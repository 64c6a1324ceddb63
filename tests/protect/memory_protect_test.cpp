#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "base/protect.h"
#include "platform/testing/os_version_testing.h"
#include "platform/testing/protection_services_testing.h"
#include "protect/service_module.h"
#include "protect_fixture.h"

namespace base {
namespace {

// Enciphers a hand-made plain block with the named memory service.
Bytes Encipher(Bytes plain, const char* module, const char* function) {
  const ScopedServiceModule services(module);
  if (std::strcmp(function, "CryptProtectMemory") == 0) {
    auto protect = services.Find<platform::CryptProtectMemoryFn>(function);
    EXPECT_TRUE(protect(plain.data(), static_cast<DWORD>(plain.size()), 1));
  } else {
    auto protect = services.Find<platform::SystemMemoryFn>(function);
    EXPECT_EQ(protect(plain.data(), static_cast<DWORD>(plain.size()), 1), 0);
  }
  return plain;
}

Bytes PlainBlock(std::uint32_t claimed, std::size_t size) {
  Bytes block(size, 0);
  for (int i = 0; i < 4; ++i)
    block[i] = static_cast<std::uint8_t>(claimed >> (8 * i));
  return block;
}

using MemoryProtectTest = ProtectTest;

TEST_F(MemoryProtectTest, OldSystemsAndMissingResultPointersFailBeforeAnyLoad) {
  const int loads = platform::testing::ServiceModuleLoads();
  BYTE data[16] = {1, 2, 3};
  BYTE* result = reinterpret_cast<BYTE*>(1);
  DWORD length = 77;
  DATA_BLOB blob{5, data};
  wchar_t* description = reinterpret_cast<wchar_t*>(1);

  for (bool queryFails : {false, true}) {
    if (queryFails)
      platform::testing::FailOsVersionQuery();
    else
      platform::testing::SetOsMajorVersion(4);
    EXPECT_EQ(CryptMemroyWinProtect(data, 3, &result, &length), 0);
    EXPECT_EQ(DecryptMemoryWinProtect(data, 16, &result, &length), 0);
    EXPECT_EQ(CryptDataWinProtect(data, 3, L"x", &blob), 0);
    EXPECT_EQ(DecryptDataWinProtect(data, 16, &description, &blob), 0);
    EXPECT_EQ(result, reinterpret_cast<BYTE*>(1));
    EXPECT_EQ(length, 77u);
    EXPECT_EQ(blob.cbData, 5u);
    EXPECT_EQ(blob.pbData, data);
    EXPECT_EQ(description, reinterpret_cast<wchar_t*>(1));
  }
  platform::testing::ResetOsVersion();
  EXPECT_EQ(CryptMemroyWinProtect(data, 3, nullptr, &length), 0);
  EXPECT_EQ(CryptMemroyWinProtect(data, 3, &result, nullptr), 0);
  EXPECT_EQ(DecryptMemoryWinProtect(data, 16, nullptr, &length), 0);
  EXPECT_EQ(DecryptMemoryWinProtect(data, 16, &result, nullptr), 0);
  EXPECT_EQ(platform::testing::ServiceModuleLoads(), loads);

  // Version 5 is the first with the services.
  platform::testing::SetOsMajorVersion(5);
  const Protected block = ProtectMemory({1, 2, 3});
  EXPECT_EQ(block.ok, 1);
  LocalFree(block.block);
}

TEST_F(MemoryProtectTest, BlocksFollowTheUnitOfTheServiceAndRoundTrip) {
  struct Case {
    bool secondService;
    std::size_t length;
    DWORD size;
  };
  const Case cases[] = {
      {false, 0, 16},
      {false, 4, 16},
      {false, 12, 16},
      {false, 13, 32},
      {false, 1 << 20, (1 << 20) + 16},
      {true, 0, 8},
      {true, 4, 8},
      {true, 12, 16},
      {true, 13, 24},
      {true, 1 << 20, (1 << 20) + 8},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << "second " << c.secondService << " length " << c.length);
    platform::testing::ResetProtectionServices();
    if (c.secondService)
      UseSecondMemoryService();
    const Bytes data = Pattern(c.length);
    const Protected block = ProtectMemory(data);
    ASSERT_EQ(block.ok, 1);
    ASSERT_EQ(block.size, c.size);

    // Nothing of the plain layout is left in the protected block.
    Bytes layout = PlainBlock(static_cast<std::uint32_t>(c.length), c.size);
    std::copy(data.begin(), data.end(), layout.begin() + 4);
    if (!MemoryServicesAreStubs())
      EXPECT_NE(block.Copy(), layout);

    // Deciphering works in place: the caller's buffer holds the plain layout.
    Bytes inPlace = block.Copy();
    BYTE* result = nullptr;
    DWORD length = 0;
    ASSERT_EQ(DecryptMemoryWinProtect(inPlace.data(), block.size, &result, &length), 1);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(Bytes(result, result + length), data);
    EXPECT_EQ(inPlace, layout);
    LocalFree(result);
    LocalFree(block.block);
  }
}

TEST_F(MemoryProtectTest, WithoutMemoryServicesTheBlockIsADescribedDataBlob) {
  UseThirdMemoryService();
  for (std::size_t size : {0u, 13u}) {
    if (size == 0 && EmptyDataIsRefused())
      continue;
    const Bytes data = Pattern(size);
    const Protected block = ProtectMemory(data);
    ASSERT_EQ(block.ok, 1);

    wchar_t* description = nullptr;
    DATA_BLOB plain{};
    ASSERT_EQ(DecryptDataWinProtect(block.block, block.size, &description, &plain), 1);
    EXPECT_STREQ(description, L"LinkCryptMem");
    EXPECT_EQ(Bytes(plain.pbData, plain.pbData + plain.cbData), data);
    LocalFree(description);
    LocalFree(plain.pbData);

    bool ok = false;
    EXPECT_EQ(UnprotectMemory(block.Copy(), ok), data);
    EXPECT_TRUE(ok);
    LocalFree(block.block);
  }

  platform::testing::RemoveServiceModule("Crypt32.dll");
  EXPECT_EQ(ProtectMemory({1}).ok, 0);
  bool ok = true;
  UnprotectMemory(Bytes(16), ok);
  EXPECT_FALSE(ok);
}

TEST_F(MemoryProtectTest, AFoundServiceThatFailsFailsTheCall) {
  const Bytes data = Pattern(12);
  bool ok = true;

  platform::testing::FailServiceFunction("CryptProtectMemory");
  Protected block = ProtectMemory(data);
  EXPECT_EQ(block.ok, 0);
  EXPECT_EQ(block.block, nullptr);
  EXPECT_EQ(block.size, 0u);

  platform::testing::ResetProtectionServices();
  block = ProtectMemory(data);
  ASSERT_EQ(block.ok, 1);
  platform::testing::FailServiceFunction("CryptUnprotectMemory");
  UnprotectMemory(block.Copy(), ok);
  EXPECT_FALSE(ok);
  LocalFree(block.block);

  // The data service is there, yet a failing SystemFunction040/041 is final.
  platform::testing::ResetProtectionServices();
  UseSecondMemoryService();
  platform::testing::FailServiceFunction("SystemFunction040");
  EXPECT_EQ(ProtectMemory(data).ok, 0);
  platform::testing::ResetProtectionServices();
  UseSecondMemoryService();
  block = ProtectMemory(data);
  ASSERT_EQ(block.ok, 1);
  platform::testing::FailServiceFunction("SystemFunction041");
  UnprotectMemory(block.Copy(), ok);
  EXPECT_FALSE(ok);
  LocalFree(block.block);

  platform::testing::ResetProtectionServices();
  UseThirdMemoryService();
  platform::testing::FailServiceFunction("CryptProtectData");
  EXPECT_EQ(ProtectMemory(data).ok, 0);
}

TEST_F(MemoryProtectTest, LengthsAreCheckedAndTheHeaderIsNeverTrustedBeyondTheBlock) {
  bool ok = true;
  // A length off the unit fails before the service runs: the input is intact.
  for (const bool second : {false, true}) {
    platform::testing::ResetProtectionServices();
    if (second)
      UseSecondMemoryService();
    const Protected block = ProtectMemory(Pattern(13));
    ASSERT_EQ(block.ok, 1);
    for (const DWORD cut : {1u, 4u}) {
      Bytes input = block.Copy();
      BYTE* result = nullptr;
      DWORD length = 0;
      EXPECT_EQ(DecryptMemoryWinProtect(input.data(), block.size - cut, &result, &length), 0);
      EXPECT_EQ(input, block.Copy());
    }
    LocalFree(block.block);
  }

  platform::testing::ResetProtectionServices();
  UnprotectMemory({}, ok);
  EXPECT_FALSE(ok);
  BYTE* result = nullptr;
  DWORD length = 0;
  EXPECT_EQ(DecryptMemoryWinProtect(nullptr, 16, &result, &length), 0);
  EXPECT_EQ(CryptMemroyWinProtect(nullptr, 1, &result, &length), 0);
  // Sizes that do not fit in 32 bits fail before the data is read.
  const BYTE tiny[1] = {0};
  EXPECT_EQ(CryptMemroyWinProtect(tiny, 0xFFFFFFFDu, &result, &length), 0);
  UseSecondMemoryService();
  EXPECT_EQ(CryptMemroyWinProtect(tiny, 0xFFFFFFFDu, &result, &length), 0);

  // Headers made by hand: the largest honest length passes, one more fails.
  struct Case {
    const char* module;
    const char* function;
    std::size_t size;
    std::uint32_t claimed;
    bool accepted;
  };
  const Case cases[] = {
      {"Crypt32.dll", "CryptProtectMemory", 16, 12, true},
      {"Crypt32.dll", "CryptProtectMemory", 16, 13, false},
      {"Crypt32.dll", "CryptProtectMemory", 32, 0xFFFFFFFFu, false},
      {"Crypt32.dll", "CryptProtectMemory", 32, 0xFFFFFFFCu, false},
      {"Advapi32.dll", "SystemFunction040", 8, 4, true},
      {"Advapi32.dll", "SystemFunction040", 8, 5, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.function << " claims " << c.claimed);
    platform::testing::ResetProtectionServices();
    if (std::strcmp(c.module, "Advapi32.dll") == 0)
      UseSecondMemoryService();
    const Bytes data =
        UnprotectMemory(Encipher(PlainBlock(c.claimed, c.size), c.module, c.function), ok);
    EXPECT_EQ(ok, c.accepted);
    if (c.accepted)
      EXPECT_EQ(data, Bytes(c.claimed, 0));
  }
}

TEST_F(MemoryProtectTest, ABlockOfAnotherServiceOrBootIsNotRecognised) {
  bool ok = true;
  const Protected first = ProtectMemory(Pattern(12));  // 16 bytes
  UseSecondMemoryService();
  const Protected second = ProtectMemory(Pattern(13));  // 24 bytes
  ASSERT_EQ(first.ok + second.ok, 2);

  // Under SystemFunction041 the 16-byte block deciphers to noise.
  UnprotectMemory(first.Copy(), ok);
  EXPECT_EQ(ok, MemoryServicesAreStubs());
  // Under CryptUnprotectMemory 24 bytes are off the unit.
  platform::testing::ResetProtectionServices();
  UnprotectMemory(second.Copy(), ok);
  EXPECT_FALSE(ok);
  LocalFree(first.block);
  LocalFree(second.block);
}

TEST_F(MemoryProtectTest, CallsRunOnManyThreadsAtOnce) {
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &failures] {
      for (std::size_t i = 0; i < 50; ++i) {
        const Bytes data = Pattern(i + t);
        const Protected block = ProtectMemory(data);
        bool ok = false;
        if (block.ok != 1 || UnprotectMemory(block.Copy(), ok) != data || !ok)
          ++failures[t];
        LocalFree(block.block);
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

}  // namespace
}  // namespace base
