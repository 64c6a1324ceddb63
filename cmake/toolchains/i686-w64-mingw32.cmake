# 32-bit Windows with mingw-w64, the system's own target: built and linked
# here; running it needs a 32-bit Wine.
set(CMAKE_SYSTEM_PROCESSOR x86)
set(BASE_MINGW_TRIPLET i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
