# Compiles src/platform/internal.h, every header it includes and every
# posix-private helper it lists, each alone in a translation unit of its own:
# a header that is missing, or that needs another included before it, fails
# the build.
set(internal_header ${PROJECT_SOURCE_DIR}/src/platform/internal.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${internal_header})
file(STRINGS ${internal_header} listed REGEX "^#include \"platform/[a-z_]+\\.h\"")
list(TRANSFORM listed REPLACE "^#include \"platform/([a-z_]+\\.h)\"" "\\1")
file(STRINGS ${internal_header} private REGEX "^//   posix/[a-z_]+_posix\\.h ")
list(TRANSFORM private REPLACE "^//   (posix/[a-z_]+_posix\\.h) .*" "\\1")
if(NOT listed OR NOT private)
  message(FATAL_ERROR "src/platform/internal.h lists no headers")
endif()

set(units)
foreach(header IN ITEMS internal.h ${listed} ${private})
  string(MAKE_C_IDENTIFIER ${header} name)
  set(unit ${CMAKE_CURRENT_BINARY_DIR}/self_contained/${name}.cpp)
  file(CONFIGURE OUTPUT ${unit} CONTENT "#include \"platform/${header}\"\n")
  list(APPEND units ${unit})
endforeach()
add_library(platform_headers_self_contained OBJECT ${units})
target_link_libraries(platform_headers_self_contained PRIVATE base_objects)
add_dependencies(platform_tests platform_headers_self_contained)
