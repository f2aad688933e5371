# What CPack makes of the installation: `cpack` in the build directory gives an archive and, where
# dpkg is at home, a Debian package.
set(CPACK_PACKAGE_NAME velmora)
set(CPACK_PACKAGE_VENDOR "The Velmora developers")
set(CPACK_PACKAGE_CONTACT "The Velmora developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_GENERATOR TGZ)

find_program(VELMORA_DPKG_SHLIBDEPS dpkg-shlibdeps)
mark_as_advanced(VELMORA_DPKG_SHLIBDEPS)
if(VELMORA_DPKG_SHLIBDEPS)
  list(APPEND CPACK_GENERATOR DEB)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "A C++20 library that simulates networks of stochastically firing neurons event by event, in
exact model time and with the same bits on every machine, and on top of it a model of the global
workspace: coalitions of neurons that compete through their wiring alone."
)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/core")
include(CPack)
