// BASE_EXPORT marks exactly the classes and functions that libbase exports.
// Everything else is built with hidden visibility and stays inside the library.
#ifndef BASE_EXPORT_H_
#define BASE_EXPORT_H_

#if defined(_WIN32)
#if defined(BASE_IMPLEMENTATION)
#define BASE_EXPORT __declspec(dllexport)
#else
#define BASE_EXPORT __declspec(dllimport)
#endif
#else
#define BASE_EXPORT __attribute__((visibility("default")))
#endif

#endif  // BASE_EXPORT_H_
