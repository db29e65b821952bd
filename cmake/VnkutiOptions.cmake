# Warnings, sanitizers and the helper that declares one of the two libraries.

set(VNKUTI_WARNINGS -Wall -Wextra -Wno-unused-parameter)

if(VNKUTI_SANITIZE)
  string(REPLACE "," ";" _vnk_san "${VNKUTI_SANITIZE}")
  set(_vnk_flags "")
  foreach(s IN LISTS _vnk_san)
    list(APPEND _vnk_flags "-fsanitize=${s}")
  endforeach()
  add_compile_options(${_vnk_flags} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(${_vnk_flags})
endif()

# vnkuti_add_library(<target> <output-name> <export-macro-prefix> <source dirs...>)
# Sources are every impl/*.cpp below the listed module folders, so that a new
# facility needs no edit here.
function(vnkuti_add_library target output root)
  set(_srcs "")
  foreach(mod IN LISTS ARGN)
    file(GLOB _s CONFIGURE_DEPENDS ${root}/${mod}/impl/*.cpp)
    list(APPEND _srcs ${_s})
  endforeach()
  add_library(${target} SHARED ${_srcs})
  add_library(VNKUTI::${target} ALIAS ${target})
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ${output}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    EXPORT_NAME ${target})
  target_compile_options(${target} PRIVATE ${VNKUTI_WARNINGS})
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${root}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/VNKUTI>)
endfunction()
