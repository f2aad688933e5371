# CMAKE_INTERPROCEDURAL_OPTIMIZATION asks for link-time optimisation. It is kept only where the
# toolchain is able to do it, so that one preset serves machines with and without the tools; the
# results of the program are the same either way.

if(NOT CMAKE_INTERPROCEDURAL_OPTIMIZATION)
  return()
endif()

# Clang's own linker needs no plugin to read Clang's intermediate code.
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  find_program(VELMORA_LLD NAMES ld.lld)
  mark_as_advanced(VELMORA_LLD)
  if(VELMORA_LLD)
    add_link_options(-fuse-ld=lld)
  endif()
endif()

# Compiles and links a small project of its own, so the answer is remembered.
function(velmora_probe_link_time_optimisation)
  if(VELMORA_LLD)
    string(APPEND CMAKE_CXX_FLAGS " -fuse-ld=lld")
  endif()
  include(CheckIPOSupported)
  check_ipo_supported(RESULT supported OUTPUT reason LANGUAGES CXX)
  if(NOT supported)
    message(STATUS "Building without link-time optimisation: ${reason}")
  endif()
  set(VELMORA_LINK_TIME_OPTIMISATION "${supported}"
      CACHE INTERNAL "Whether the toolchain optimises at link time"
  )
endfunction()

if(NOT DEFINED VELMORA_LINK_TIME_OPTIMISATION)
  velmora_probe_link_time_optimisation()
endif()
set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ${VELMORA_LINK_TIME_OPTIMISATION})
