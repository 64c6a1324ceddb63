// Test control: counts of the work the code-page backend has done, so that
// tests can see that a page is queried once and a converter opened once, and
// a way to start again from closed converters. Not exported.
#ifndef BASE_PLATFORM_TESTING_CODEPAGE_TESTING_H_
#define BASE_PLATFORM_TESTING_CODEPAGE_TESTING_H_

namespace base::platform::testing {

// Calls of QueryCodePageInfo since the library was loaded.
int CodePageInfoQueries();
// Converters opened (successfully or not) since the library was loaded.
int CodePageConverterOpens();
// Closes every converter the backend keeps, so that the next use of a page
// opens it again, as the first use after loading does.
void CloseCodePageConverters();

}  // namespace base::platform::testing

#endif  // BASE_PLATFORM_TESTING_CODEPAGE_TESTING_H_
