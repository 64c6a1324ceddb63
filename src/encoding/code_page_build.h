// The one step behind GetCPMap, GetCPDefChar and CPConvert's fallback: the
// tables of a page, made once and for good.
#ifndef BASE_ENCODING_CODE_PAGE_BUILD_H_
#define BASE_ENCODING_CODE_PAGE_BUILD_H_

namespace base {

// Gives `page` its entries in CodePageTables: both maps gain one together, and
// a page that has them is never looked at again, whether its build worked or
// not (true is returned for it either way). On a fresh page, returns false
// when the page is unknown, has characters of three or more bytes, or its map
// cannot be allocated; the page then keeps a null map and the default -1.
// Throws only what the maps' allocator throws.
bool BuildCodePageTables(int page);

}  // namespace base

#endif  // BASE_ENCODING_CODE_PAGE_BUILD_H_
