// A test module of the library's objects (see base_add_test_module), loaded
// for the life of this object. Unload() checks that dlclose really unmapped
// it, so a load after it starts afresh.
#ifndef BASE_TESTS_SUPPORT_TEST_MODULE_H_
#define BASE_TESTS_SUPPORT_TEST_MODULE_H_

#include <dlfcn.h>

#include <gtest/gtest.h>

#include <string>

namespace base::testing {

class TestModule {
 public:
  explicit TestModule(std::string path)
      : path_(std::move(path)), handle_(dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    EXPECT_NE(handle_, nullptr) << dlerror();
  }
  TestModule(const TestModule&) = delete;
  TestModule& operator=(const TestModule&) = delete;
  ~TestModule() {
    if (handle_ != nullptr)
      Unload();
  }

  // Calls the module's extern "C" entry `name`.
  template <typename Result, typename... Args>
  Result Call(const char* name, Args... args) {
    auto entry = reinterpret_cast<Result (*)(Args...)>(dlsym(handle_, name));
    EXPECT_NE(entry, nullptr) << name;
    return entry(args...);
  }

  void Unload() {
    EXPECT_EQ(dlclose(handle_), 0);
    handle_ = nullptr;
    EXPECT_EQ(dlopen(path_.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr) << "still mapped";
  }

 private:
  const std::string path_;
  void* handle_;
};

}  // namespace base::testing

#endif  // BASE_TESTS_SUPPORT_TEST_MODULE_H_
