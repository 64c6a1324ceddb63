#include "support/test_module.h"

#include <dlfcn.h>

namespace base::testing {

TestModule::TestModule(std::string path)
    : path_(std::move(path)), handle_(dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  EXPECT_NE(handle_, nullptr) << dlerror();
}

void TestModule::Unload() {
  EXPECT_EQ(dlclose(handle_), 0);
  handle_ = nullptr;
  EXPECT_EQ(dlopen(path_.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr) << "still mapped";
}

void* TestModule::Find(const char* name) {
  return dlsym(handle_, name);
}

}  // namespace base::testing
