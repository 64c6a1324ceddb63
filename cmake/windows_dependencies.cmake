# What the Windows build takes from the machine that cross-compiles it. There
# is no ICU or OpenSSL here: the system does that work. Sets BASE_DEPENDENCIES.

# Boost's lock headers are header-only on Windows. /usr/include itself must not
# be on the cross include path, or glibc's headers would be found before
# mingw's: an include folder in the build tree holds only a link to Boost.
set(BASE_BOOST_INCLUDE ${PROJECT_BINARY_DIR}/boost-include)
file(MAKE_DIRECTORY ${BASE_BOOST_INCLUDE})
file(CREATE_LINK /usr/include/boost ${BASE_BOOST_INCLUDE}/boost SYMBOLIC)
add_library(base_boost_headers INTERFACE)
target_include_directories(base_boost_headers SYSTEM INTERFACE ${BASE_BOOST_INCLUDE})
# Boost.Thread's own sources are not built: only its header-only locks are used.
target_compile_definitions(base_boost_headers INTERFACE BOOST_THREAD_NO_LIB BOOST_ALL_NO_LIB)

# zlib from the mingw-w64 package, linked statically so that base.dll needs
# no zlib1.dll beside it.
set(ZLIB_USE_STATIC_LIBS ON)
find_package(ZLIB REQUIRED)

# The system's own: windows and timers (user32, gdi32), the making of
# directories (shell32). minizip is built from source (cmake/minizip.cmake).
set(BASE_DEPENDENCIES base_boost_headers base_minizip ZLIB::ZLIB user32 gdi32 shell32)

# The Windows names of <windows.h> are the W forms; min and max stay the
# standard library's.
add_compile_definitions(UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX)
# Inline members of an exported class stay in the headers that define them,
# as on ELF, so that the exported surface is the same on both systems.
add_compile_options(-fno-keep-inline-dllexport)

# Tests and the demo run under Wine, in a prefix of the build tree. The
# emulator is one file: test discovery at test time cannot pass a list.
# base.dll is found in the build tree's root, drive Z: to Wine.
set(BASE_WINE_RUN ${PROJECT_BINARY_DIR}/wine-run)
string(REPLACE "/" "\\" BASE_WINE_DLL_PATH "Z:${PROJECT_BINARY_DIR}")
file(CONFIGURE OUTPUT ${BASE_WINE_RUN} CONTENT "#!/bin/sh
WINEPATH='${BASE_WINE_DLL_PATH}' exec '${PROJECT_SOURCE_DIR}/scripts/wine-run.sh' \
  '${PROJECT_BINARY_DIR}/wine-prefix' \"$@\"
")
file(CHMOD ${BASE_WINE_RUN} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
  WORLD_READ WORLD_EXECUTE)
set(CMAKE_CROSSCOMPILING_EMULATOR ${BASE_WINE_RUN})
