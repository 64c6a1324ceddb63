// Marks the extern "C" entries that a test module gives its test.
#ifndef BASE_TESTS_SUPPORT_MODULE_ENTRY_H_
#define BASE_TESTS_SUPPORT_MODULE_ENTRY_H_

#if defined(_WIN32)
#define BASE_TEST_MODULE_ENTRY extern "C" __declspec(dllexport)
#else
#define BASE_TEST_MODULE_ENTRY extern "C" __attribute__((visibility("default")))
#endif

#endif  // BASE_TESTS_SUPPORT_MODULE_ENTRY_H_
