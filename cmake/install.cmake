# Install and package rules: headers, both libraries, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS vela vela_static EXPORT vela-targets)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vela DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(vela_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vela)
install(EXPORT vela-targets FILE vela-config.cmake NAMESPACE vela:: DESTINATION ${vela_package_dir})
write_basic_package_version_file(vela-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vela-config-version.cmake DESTINATION ${vela_package_dir})

# The file finds its prefix from where it lies, so that an installation can be put or moved anywhere.
set(vela_pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH vela_prefix_from_pc ${CMAKE_INSTALL_PREFIX}/${vela_pc_dir} ${CMAKE_INSTALL_PREFIX})
set(vela_time64_flags "")
foreach(definition IN LISTS vela_time64)
  string(APPEND vela_time64_flags " -D${definition}")
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/vela.pc.in vela.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vela.pc DESTINATION ${vela_pc_dir})
