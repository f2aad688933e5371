# Installs headers, libraries and the program, and what lets others find them: the files for CMake's
# find_package and for pkg-config. Nothing installed knows where it lies, so the tree can be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(velmora_headers_directory "${CMAKE_INSTALL_INCLUDEDIR}/velmora")
set(velmora_cmake_directory "${CMAKE_INSTALL_LIBDIR}/cmake/Velmora")
set(velmora_pkgconfig_directory "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(
  TARGETS velmora_core velmora_workspace
  EXPORT Velmora
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  FILE_SET HEADERS DESTINATION "${velmora_headers_directory}"
)

if(TARGET workspace_conformance)
  install(TARGETS workspace_conformance RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()

# How the program, and one shared library the other, find the shared libraries: relative to where
# they lie themselves.
if(BUILD_SHARED_LIBS)
  set(velmora_origin "$<IF:$<PLATFORM_ID:Darwin>,@loader_path,$ORIGIN>")
  file(RELATIVE_PATH velmora_program_to_libraries "/${CMAKE_INSTALL_BINDIR}"
       "/${CMAKE_INSTALL_LIBDIR}"
  )
  set_target_properties(
    velmora_core velmora_workspace PROPERTIES INSTALL_RPATH "${velmora_origin}"
  )
  if(TARGET workspace_conformance)
    set_target_properties(
      workspace_conformance PROPERTIES INSTALL_RPATH
                                       "${velmora_origin}/${velmora_program_to_libraries}"
    )
  endif()
endif()

install(EXPORT Velmora NAMESPACE Velmora:: FILE VelmoraTargets.cmake
        DESTINATION "${velmora_cmake_directory}"
)
configure_package_config_file(
  "${CMAKE_CURRENT_LIST_DIR}/VelmoraConfig.cmake.in" "${PROJECT_BINARY_DIR}/VelmoraConfig.cmake"
  INSTALL_DESTINATION "${velmora_cmake_directory}"
  NO_SET_AND_CHECK_MACRO
)
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/VelmoraConfigVersion.cmake" COMPATIBILITY SameMajorVersion
)
install(
  FILES "${PROJECT_BINARY_DIR}/VelmoraConfig.cmake"
        "${PROJECT_BINARY_DIR}/VelmoraConfigVersion.cmake"
  DESTINATION "${velmora_cmake_directory}"
)

file(RELATIVE_PATH velmora_pkgconfig_to_prefix "/${velmora_pkgconfig_directory}" "/")
string(REGEX REPLACE "/$" "" velmora_pkgconfig_to_prefix "${velmora_pkgconfig_to_prefix}")
list(JOIN velmora_floating_point_options " " velmora_pkgconfig_options)
foreach(name IN ITEMS core workspace)
  configure_file(
    "${CMAKE_CURRENT_LIST_DIR}/velmora-${name}.pc.in" "${PROJECT_BINARY_DIR}/velmora-${name}.pc"
    @ONLY
  )
  install(FILES "${PROJECT_BINARY_DIR}/velmora-${name}.pc"
          DESTINATION "${velmora_pkgconfig_directory}"
  )
endforeach()
