# Shared by the mingw-w64 toolchains: the triplet is set by the file that
# includes this one, and so is the choice of the C and C++ run-times.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${BASE_MINGW_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${BASE_MINGW_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${BASE_MINGW_TRIPLET}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${BASE_MINGW_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
