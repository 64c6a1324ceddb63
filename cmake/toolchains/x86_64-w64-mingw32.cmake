# 64-bit Windows with mingw-w64: built here, run under Wine.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(BASE_MINGW_TRIPLET x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)

# The -posix compilers give the tests std::thread through winpthreads. The
# run-time is linked statically, so that nothing but the library and system
# DLLs must be found when a binary runs: on x86_64 an exception is unwound
# through the system's tables, which see every module and the system's own
# frames, so each module may carry its own copy of the run-time.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ -static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ -static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ -static")
