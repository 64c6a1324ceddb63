#include "support/test_module.h"

#include <windows.h>

namespace base::testing {
namespace {

// The build names modules by their path on the building machine; under Wine
// that file system is drive Z:.
std::wstring WindowsPath(const std::string& path) {
  std::wstring wide = path.rfind('/', 0) == 0 ? L"Z:" : L"";
  for (const char c : path)
    wide += c == '/' ? L'\\' : static_cast<wchar_t>(static_cast<unsigned char>(c));
  return wide;
}

}  // namespace

TestModule::TestModule(std::string path)
    : path_(std::move(path)), handle_(::LoadLibraryW(WindowsPath(path_).c_str())) {
  EXPECT_NE(handle_, nullptr) << path_ << ": error " << ::GetLastError();
}

void TestModule::Unload() {
  EXPECT_TRUE(::FreeLibrary(static_cast<HMODULE>(handle_)));
  handle_ = nullptr;
  EXPECT_EQ(::GetModuleHandleW(WindowsPath(path_).c_str()), nullptr) << "still mapped";
}

void* TestModule::Find(const char* name) {
  return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(handle_), name));
}

}  // namespace base::testing
