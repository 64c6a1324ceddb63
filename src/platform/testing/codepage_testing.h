// Test control: counts of the work the code-page backend has done, so that
// tests can see that a page is queried once and a converter opened once, and
// a way to start again from closed converters. Not exported.
#ifndef BASE_PLATFORM_TESTING_CODEPAGE_TESTING_H_
#define BASE_PLATFORM_TESTING_CODEPAGE_TESTING_H_

namespace base::platform::testing {

// Every page a Windows system lists as supported, which the backend must
// serve alike.
constexpr int kListedCodePages[] = {
    37,    437,   500,   708,   720,   737,   775,   850,   852,   855,   857,   860,
    861,   862,   863,   864,   865,   866,   869,   874,   875,   932,   936,   949,
    950,   1026,  1250,  1251,  1252,  1253,  1254,  1255,  1256,  1257,  1258,  1361,
    10000, 10001, 10002, 10003, 10004, 10005, 10006, 10007, 10008, 10010, 10017, 10021,
    10029, 10079, 10081, 10082, 20127, 20866, 20932, 20949, 21866, 28591, 28592, 28593,
    28594, 28595, 28596, 28597, 28598, 28599, 28603, 28605};

// Calls of QueryCodePageInfo since the library was loaded.
int CodePageInfoQueries();
// Converters opened (successfully or not) since the library was loaded.
int CodePageConverterOpens();
// Closes every converter the backend keeps, so that the next use of a page
// opens it again, as the first use after loading does.
void CloseCodePageConverters();

}  // namespace base::platform::testing

#endif  // BASE_PLATFORM_TESTING_CODEPAGE_TESTING_H_
