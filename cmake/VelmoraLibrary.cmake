# What the libraries that others link have in common.

# The same seed must give the same bits with every compiler: no fused multiply-add may replace a
# product and a sum, and 32-bit x86 must not compute in the 80-bit registers of the x87. Headers
# compute too, so dependents compile under the same rule.
set(velmora_floating_point_options -ffp-contract=off)
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(i[3-6]86|x86|x86_64|AMD64)$")
  list(APPEND velmora_floating_point_options -msse2 -mfpmath=sse)
endif()

# A shared library shows what its headers declare and nothing else: neither the templates of the
# standard library that it instantiates, nor its inline functions. The linker picks the symbols by
# namespace, so the declarations need no marks. A linker that reads no version script exports more,
# which does no harm.
include(CheckLinkerFlag)
set(velmora_symbols "${CMAKE_CURRENT_LIST_DIR}/velmora.symbols")
set(velmora_symbols_option "LINKER:--version-script=${velmora_symbols}")
check_linker_flag(CXX "${velmora_symbols_option}" VELMORA_HAS_VERSION_SCRIPT)

# Makes TARGET the library Velmora::NAME, for this build, for an enclosing one and when installed.
function(velmora_library target name)
  add_library(Velmora::${name} ALIAS ${target})
  velmora_target(${target})
  set_target_properties(
    ${target}
    PROPERTIES
      EXPORT_NAME ${name}
      VERSION ${PROJECT_VERSION}
      SOVERSION ${PROJECT_VERSION_MAJOR}
      # An extension module or another shared library may link the archive.
      POSITION_INDEPENDENT_CODE ON
      VISIBILITY_INLINES_HIDDEN ON
      WINDOWS_EXPORT_ALL_SYMBOLS ON
  )
  # Nobody replaces a function of the library from outside, so calls within it may be inlined.
  target_compile_options(
    ${target} PRIVATE $<$<COMPILE_LANG_AND_ID:CXX,GNU,Clang>:-fno-semantic-interposition>
  )
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "STATIC_LIBRARY")
    # Installed, an archive of intermediate code would serve one version of one compiler only.
    if(VELMORA_INSTALL)
      set_target_properties(${target} PROPERTIES INTERPROCEDURAL_OPTIMIZATION OFF)
    endif()
  elseif(VELMORA_HAS_VERSION_SCRIPT)
    target_link_options(${target} PRIVATE "${velmora_symbols_option}")
    set_target_properties(${target} PROPERTIES LINK_DEPENDS "${velmora_symbols}")
  endif()
endfunction()
