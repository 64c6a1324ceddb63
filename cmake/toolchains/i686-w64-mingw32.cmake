# 32-bit Windows with mingw-w64, the system's own target: built here, run under
# the 32-bit Wine that scripts/fetch-wine32.sh unpacks.
set(CMAKE_SYSTEM_PROCESSOR x86)
set(BASE_MINGW_TRIPLET i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)

# The run-time is the shared one (libgcc_s_dw2-1.dll, libstdc++-6.dll,
# libwinpthread-1.dll, mingw-w64's default), in base.dll and in every
# executable alike. On i686 an exception is unwound by the run-time's own DWARF
# unwinder, which knows only the frames registered with it: a module with a
# static copy registers its frames with that copy alone, so an exception that
# leaves a delegate of the host into base.dll, or leaves base.dll into the
# host, ends in std::terminate. One shared copy knows every module's frames.
