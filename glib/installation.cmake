# Installs the library for those who build with it.

include(CMakePackageConfigHelpers)

# Headers of a later series that breaks applications go beside these, not over them.
set(install_include_dir "${CMAKE_INSTALL_INCLUDEDIR}/kesu-glib-1")
install(FILES ${kesu_glib_headers} DESTINATION "${install_include_dir}")
install(TARGETS kesu_glib EXPORT kesuGlibTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  INCLUDES DESTINATION "${install_include_dir}")
set(install_cmake_dir "${CMAKE_INSTALL_LIBDIR}/cmake/kesu-glib")
install(EXPORT kesuGlibTargets NAMESPACE kesu:: DESTINATION "${install_cmake_dir}")
configure_package_config_file(kesu-glibConfig.cmake.in kesu-glibConfig.cmake
  INSTALL_DESTINATION "${install_cmake_dir}"
  NO_SET_AND_CHECK_MACRO)
# What a program uses of this series stays in it.
write_basic_package_version_file(kesu-glibConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  "${CMAKE_CURRENT_BINARY_DIR}/kesu-glibConfig.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/kesu-glibConfigVersion.cmake"
  DESTINATION "${install_cmake_dir}")

# Written when it is installed: only then is the prefix known for good.
set(KESU_PC_LIBDIR "\${prefix}")
cmake_path(APPEND KESU_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
set(KESU_PC_INCLUDEDIR "\${prefix}")
cmake_path(APPEND KESU_PC_INCLUDEDIR "${install_include_dir}")
set(KESU_PC_PREFIX "@KESU_PC_PREFIX@")
configure_file(kesu-glib-1.pc.in kesu-glib-1.pc.in @ONLY)
install(CODE "
  set(KESU_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  configure_file(\"${CMAKE_CURRENT_BINARY_DIR}/kesu-glib-1.pc.in\"
    \"${CMAKE_CURRENT_BINARY_DIR}/kesu-glib-1.pc\" @ONLY)")
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/kesu-glib-1.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
