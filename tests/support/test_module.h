// A test module of the library's objects (see base_add_test_module), loaded
// for the life of this object. Unload() checks that the system really unmapped
// it, so a load after it starts afresh.
#ifndef BASE_TESTS_SUPPORT_TEST_MODULE_H_
#define BASE_TESTS_SUPPORT_TEST_MODULE_H_

#include <gtest/gtest.h>

#include <string>

namespace base::testing {

class TestModule {
 public:
  explicit TestModule(std::string path);
  TestModule(const TestModule&) = delete;
  TestModule& operator=(const TestModule&) = delete;
  ~TestModule() {
    if (handle_ != nullptr)
      Unload();
  }

  // Calls the module's extern "C" entry `name`. A missing entry fails the
  // test and gives Result{}, so the test goes on to its next check rather than
  // crashing the whole binary on a null call.
  template <typename Result, typename... Args>
  Result Call(const char* name, Args... args) {
    auto entry = reinterpret_cast<Result (*)(Args...)>(Find(name));
    if (entry == nullptr) {
      ADD_FAILURE() << "the module has no entry " << name;
      return Result();
    }
    return entry(args...);
  }

  void Unload();

 private:
  void* Find(const char* name);

  const std::string path_;
  void* handle_;
};

}  // namespace base::testing

#endif  // BASE_TESTS_SUPPORT_TEST_MODULE_H_
