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

# On i686 base.dll and the executables link the shared run-time (see the
# toolchain file). Its DLLs are copied beside base.dll, where a host ships
# them, and installed with it. Sets BASE_RUNTIME_DLLS (empty on x86_64).
set(BASE_RUNTIME_DLLS)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  foreach(dll libgcc_s_dw2-1.dll libstdc++-6.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
      OUTPUT_VARIABLE dll_path OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT EXISTS "${dll_path}")
      message(FATAL_ERROR "the compiler's run-time ${dll} was not found")
    endif()
    list(APPEND BASE_RUNTIME_DLLS "${dll_path}")
  endforeach()
  file(COPY ${BASE_RUNTIME_DLLS} DESTINATION ${PROJECT_BINARY_DIR})
endif()

# Tests and the demo run under Wine, in a prefix of the build tree. The
# emulator is one file: test discovery at test time cannot pass a list.
# base.dll is found in the build tree's root, drive Z: to Wine.
#
# The 32-bit Wine is Debian's, unpacked in the source tree's build/ folder
# (shared by all build trees). Its user32 needs a zlib1.dll of its own, which
# mingw-w64's zlib package has: a folder holding just that DLL goes on the
# search path, so that nothing else of the cross-compiler's folders is found
# in place of what a host must ship.
set(BASE_WINE_DLL_DIRS "${PROJECT_BINARY_DIR}")
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(BASE_WINE32_ROOT "${PROJECT_SOURCE_DIR}/build/wine32" CACHE PATH
    "Where the 32-bit Wine is unpacked, shared by all build trees")
  execute_process(
    COMMAND "${PROJECT_SOURCE_DIR}/scripts/fetch-wine32.sh" "${BASE_WINE32_ROOT}"
    RESULT_VARIABLE fetch_result)
  if(NOT fetch_result EQUAL 0)
    message(FATAL_ERROR "could not unpack the 32-bit Wine into ${BASE_WINE32_ROOT}")
  endif()
  set(BASE_WINE_LOADER "${BASE_WINE32_ROOT}/root/usr/lib/wine/wine")
  set(BASE_WINE_ARCH win32)
  set(wine_zlib_dir "${PROJECT_BINARY_DIR}/wine-dlls")
  file(MAKE_DIRECTORY "${wine_zlib_dir}")
  file(CREATE_LINK /usr/i686-w64-mingw32/lib/zlib1.dll "${wine_zlib_dir}/zlib1.dll" SYMBOLIC)
  list(APPEND BASE_WINE_DLL_DIRS "${wine_zlib_dir}")
else()
  set(BASE_WINE_LOADER /usr/lib/wine/wine64)
  set(BASE_WINE_ARCH win64)
endif()
set(BASE_WINE_PATH)
foreach(dir IN LISTS BASE_WINE_DLL_DIRS)
  string(REPLACE "/" "\\" dir "Z:${dir}")
  string(APPEND BASE_WINE_PATH "${dir};")
endforeach()
set(BASE_WINE_RUN ${PROJECT_BINARY_DIR}/wine-run)
file(CONFIGURE OUTPUT ${BASE_WINE_RUN} CONTENT "#!/bin/sh
WINEPATH='${BASE_WINE_PATH}' WINEARCH=${BASE_WINE_ARCH} exec \
  '${PROJECT_SOURCE_DIR}/scripts/wine-run.sh' '${BASE_WINE_LOADER}' \
  '${PROJECT_BINARY_DIR}/wine-prefix' \"$@\"
")
file(CHMOD ${BASE_WINE_RUN} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
  WORLD_READ WORLD_EXECUTE)
set(CMAKE_CROSSCOMPILING_EMULATOR ${BASE_WINE_RUN})
