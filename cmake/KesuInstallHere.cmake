# Installs libkesu-here for those who build with it. Included behind KesuInstallLibrary, which says the
# forms.

set(here_include_dir "${CMAKE_INSTALL_INCLUDEDIR}/kesu-here-1")
install(FILES here/here.h DESTINATION "${here_include_dir}/here")
set(here_cmake_dir "${CMAKE_INSTALL_LIBDIR}/cmake/kesu-here")
foreach(form IN LISTS installed_forms)
  string(TOLOWER kesu_here_${form} target)
  install(TARGETS ${target} EXPORT kesuHere${form}Targets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    INCLUDES DESTINATION "${here_include_dir}")
  install(EXPORT kesuHere${form}Targets NAMESPACE kesu:: DESTINATION "${here_cmake_dir}")
endforeach()
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/kesu-hereConfig.cmake.in"
  kesu-hereConfig.cmake
  INSTALL_DESTINATION "${here_cmake_dir}"
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(kesu-hereConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  "${CMAKE_CURRENT_BINARY_DIR}/kesu-hereConfig.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/kesu-hereConfigVersion.cmake"
  DESTINATION "${here_cmake_dir}")

# As for the library itself.
set(KESU_PC_INCLUDEDIR "\${prefix}")
cmake_path(APPEND KESU_PC_INCLUDEDIR "${here_include_dir}")
set(KESU_PC_REQUIRES "kesu")
set(KESU_PC_REQUIRES_PRIVATE "gio-2.0 libnm mm-glib")
if(NOT TARGET kesu_here_shared)
  string(APPEND KESU_PC_REQUIRES " ${KESU_PC_REQUIRES_PRIVATE}")
endif()
configure_file("${PROJECT_SOURCE_DIR}/cmake/kesu-here.pc.in" kesu-here.pc.in @ONLY)
install(CODE "
  set(KESU_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  configure_file(\"${CMAKE_CURRENT_BINARY_DIR}/kesu-here.pc.in\"
    \"${CMAKE_CURRENT_BINARY_DIR}/kesu-here.pc\" @ONLY)")
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/kesu-here.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
