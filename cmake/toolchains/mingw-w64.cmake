# Shared by the mingw-w64 toolchains: the triplet is set by the file that
# includes this one.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${BASE_MINGW_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${BASE_MINGW_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${BASE_MINGW_TRIPLET}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${BASE_MINGW_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The -posix compilers give the tests std::thread through winpthreads. The
# runtime is linked statically, so that nothing but the library and system
# DLLs must be found when a binary runs.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ -static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ -static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ -static")
