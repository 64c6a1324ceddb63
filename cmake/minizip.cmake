# minizip, built from the contrib/minizip sources of the zlib release Debian 12
# ships. Distribution packages of minizip differ in how they detect zip64
# fields, and there is none for mingw-w64, so every platform builds this one.
#
# Gives the static target base_minizip: include <unzip.h> and <ioapi.h>, link
# it. Its symbols stay hidden, so nothing of it is exported from the library
# it is linked into.

set(BASE_ZLIB_SOURCE_ROOT "${CMAKE_CURRENT_LIST_DIR}/../build/zlib-source" CACHE PATH
  "Where the zlib source package is fetched and unpacked, shared by all build trees")

execute_process(
  COMMAND "${CMAKE_CURRENT_LIST_DIR}/../scripts/fetch-zlib-source.sh" "${BASE_ZLIB_SOURCE_ROOT}"
  RESULT_VARIABLE fetch_result)
if(NOT fetch_result EQUAL 0)
  message(FATAL_ERROR "could not fetch the zlib sources into ${BASE_ZLIB_SOURCE_ROOT}")
endif()

set(minizip_dir "${BASE_ZLIB_SOURCE_ROOT}/zlib-1.2.13/contrib/minizip")
add_library(base_minizip STATIC "${minizip_dir}/unzip.c" "${minizip_dir}/ioapi.c")
target_include_directories(base_minizip SYSTEM PUBLIC "${minizip_dir}")
# No decryption (NOUNCRYPT is unzip.c's default and is kept), no bzip2 entries.
target_compile_definitions(base_minizip PRIVATE NOUNCRYPT)
target_link_libraries(base_minizip PUBLIC ZLIB::ZLIB)
set_target_properties(base_minizip PROPERTIES
  POSITION_INDEPENDENT_CODE ON
  C_VISIBILITY_PRESET hidden)
