# 64-bit Windows with mingw-w64: built here, run under Wine.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(BASE_MINGW_TRIPLET x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
