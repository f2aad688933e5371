# What every target of the project shares and no dependent project inherits: the warnings, and the
# language without compiler extensions.

add_library(velmora_warnings INTERFACE)
target_compile_options(
  velmora_warnings
  INTERFACE
    $<$<COMPILE_LANG_AND_ID:CXX,GNU,Clang,AppleClang>:
    -Wall
    -Wextra
    -Wpedantic
    -Wcast-align
    -Wcast-qual
    -Wconversion
    -Wextra-semi
    -Wformat=2
    -Wmissing-declarations
    -Wnon-virtual-dtor
    -Wold-style-cast
    -Woverloaded-virtual
    -Wredundant-decls
    -Wshadow
    -Wsign-conversion
    -Wundef
    -Wunused
    $<$<BOOL:${VELMORA_WARNINGS_AS_ERRORS}>:-Werror>
    >
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:
    -Wdouble-promotion
    -Wduplicated-branches
    -Wduplicated-cond
    -Wlogical-op
    >
    $<$<COMPILE_LANG_AND_ID:CXX,Clang,AppleClang>:
    -Wcomma
    -Wmissing-prototypes
    -Wunreachable-code
    >
)

# Applies the above to TARGET. The warnings are a matter of this build alone, so an exported or
# installed TARGET does not mention them.
function(velmora_target target)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:velmora_warnings>)
endfunction()
