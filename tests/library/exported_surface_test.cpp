#include <gtest/gtest.h>

#include <set>
#include <string>

#include "dynamic_symbols.h"

namespace base::testing {
namespace {

// Every name that the library may export: the exported classes with their
// members (and, for the thrown types, their type info), the exported
// functions, and the host vocabulary of base/platform.h and
// base/message_loop.h. The same list holds for libbase.so and base.dll.
const std::set<std::string> kExportedClasses = {
    "Buffer",
    "CommonPack",
    "handlepoolobject",
    "OrvThread::ThreadTaskBase",
    "OrvThread::ThreadTaskPtr",
    "OrvThread::ResourceError",
    "OrvThread::thisThreadTask::DisableInterruption",
    "OrvThread::thisThreadTask::RestoreInterruption",
    "OrvThread::thisThreadTask::TaskInterrupted",
};

// The thrown types are empty: type info is all they have. ELF exports it; a
// DLL does not, and a catch in another module matches their type info by name.
const std::set<std::string> kThrownTypes = {
    "OrvThread::ResourceError",
    "OrvThread::thisThreadTask::TaskInterrupted",
};
#if defined(_WIN32)
constexpr bool kTypeInfoExported = false;
#else
constexpr bool kTypeInfoExported = true;
#endif

const std::set<std::string> kExportedFunctions = {
    "InitTimeCallback",
    "SetTimeCallback",
    "KillTimeCallback",
    "SetInterval",
    "SetTimeout",
    "EraseTimerCallback",
    "SetIdleCallback",
    "EraseIdleCallback",
    "NotifyIdle",
    "SetAsyncCallback",
    "EraseAsyncCallback",
    "OrvThread::InitThreadManagement",
    "OrvThread::FInitThreadManagement",
    "OrvThread::PostThreadTask",
    "OrvThread::thisThreadTask::InterruptibleWait",
    "OrvThread::thisThreadTask::Sleep",
    "OrvThread::thisThreadTask::yield",
    "OrvThread::thisThreadTask::GetId",
    "OrvThread::thisThreadTask::IsInterruptionEnabled",
    "OrvThread::thisThreadTask::IsInterruptionRequested",
    "OrvThread::thisThreadTask::InterruptionPoint",
    "OrvThread::thisThreadTask::DoCallback",
    "GlobalHandleAllocateHandle",
    "GlobalHandleGetEntry",
    "GlobalHandleCloseHandle",
    "GlobalHandleDisableHandle",
    "AddExitCallBack",
    "RemoveExitCallBack",
    "NotifyExit",
    "AddExitSaveDataCallBack",
    "RemoveExitSaveDataCallBack",
    "NotifySaveDataBeforeExit",
    "XmlText::Encoding::GetCPNamed",
    "XmlText::Encoding::GetCPMap",
    "XmlText::Encoding::CPConvert",
    "XmlText::Encoding::GetCPDefChar",
    "Unzip",
    "CryptDataWinProtect",
    "DecryptDataWinProtect",
    "CryptMemroyWinProtect",
    "DecryptMemoryWinProtect",
    "base::RunMessageLoop",
    "base::QuitMessageLoop",
    "base::PumpMessages",
#if !defined(_WIN32)
    // The host vocabulary that Windows itself gives.
    "CreateEventW",
    "SetEvent",
    "ResetEvent",
    "CloseHandle",
    "WaitForSingleObject",
    "GetTickCount",
    "LocalAlloc",
    "LocalFree",
    "base::MessageLoopFd",
#endif
};

// The class or function a demangled symbol belongs to: "Buffer" for
// "Buffer::Append(unsigned char const*, unsigned int)" and "vtable for Buffer",
// "CommonPack" for "bool CommonPack::AddLenHeaded<unsigned char>(...)", and the
// function itself for a free function.
std::string OwnerOf(std::string symbol) {
  for (const char* prefix : {"typeinfo name for ", "typeinfo for ", "vtable for ", "VTT for "}) {
    if (symbol.rfind(prefix, 0) == 0)
      return symbol.substr(std::string(prefix).size());
  }
  symbol = symbol.substr(0, symbol.find('('));
  for (const std::string& cls : kExportedClasses) {
    // A member template's name starts with its return type: "bool Buffer::...".
    if (symbol.rfind(cls + "::", 0) == 0 || symbol.find(" " + cls + "::") != std::string::npos)
      return cls;
  }
  return symbol;
}

TEST(ExportedSurfaceTest, TheLibraryExportsExactlyItsInterface) {
  const std::set<std::string> symbols = ExportedSymbols(BASE_SHARED_LIBRARY_PATH);
  ASSERT_FALSE(symbols.empty()) << "cannot read " << BASE_SHARED_LIBRARY_PATH;

  std::set<std::string> owners;
  for (const std::string& symbol : symbols) {
    const std::string owner = OwnerOf(symbol);
    owners.insert(owner);
    EXPECT_TRUE(kExportedClasses.count(owner) || kExportedFunctions.count(owner))
        << "exported but not part of the interface: " << symbol;
  }
  for (const std::string& name : kExportedFunctions)
    EXPECT_TRUE(owners.count(name)) << "not exported: " << name;
  for (const std::string& name : kExportedClasses) {
    if (kTypeInfoExported || !kThrownTypes.count(name))
      EXPECT_TRUE(owners.count(name)) << "class not exported: " << name;
  }
}

}  // namespace
}  // namespace base::testing
