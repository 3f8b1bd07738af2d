# Install rules for the components library and overlay (the shared libraries) and development (headers, static libraries,
# CMake package, pkg-config files, manual pages). The components documentation and examples are for packages and not
# installed by default.
include(CMakePackageConfigHelpers)

install(TARGETS vela vela_static EXPORT vela-targets
        LIBRARY COMPONENT library NAMELINK_COMPONENT development
        ARCHIVE COMPONENT development)
if(TARGET vela_overlay)
  install(TARGETS vela_overlay vela_overlay_static EXPORT vela-targets
          LIBRARY COMPONENT overlay NAMELINK_COMPONENT development
          ARCHIVE COMPONENT development)
endif()
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
if(VELA_DEBUG_INFO)
  install(CODE "execute_process(COMMAND ${CMAKE_STRIP} --strip-debug --enable-deterministic-archives
    \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/libvela.a
    \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/libvela-overlay.a COMMAND_ERROR_IS_FATAL ANY)")
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vela DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/build/docs/man/
        DESTINATION ${CMAKE_INSTALL_MANDIR} OPTIONAL)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/build/docs/html DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vela-doc
        COMPONENT documentation EXCLUDE_FROM_ALL OPTIONAL)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vela-examples
        COMPONENT examples EXCLUDE_FROM_ALL PATTERN CMakeLists.txt EXCLUDE PATTERN demo EXCLUDE)

set(vela_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vela)
install(EXPORT vela-targets FILE vela-config.cmake NAMESPACE vela:: DESTINATION ${vela_package_dir})
write_basic_package_version_file(vela-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vela-config-version.cmake DESTINATION ${vela_package_dir})

# The file computes its prefix from its own location, so an installed tree can be moved.
set(vela_pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH vela_prefix_from_pc ${CMAKE_INSTALL_PREFIX}/${vela_pc_dir} ${CMAKE_INSTALL_PREFIX})
set(vela_time64_flags "")
foreach(definition IN LISTS vela_time64)
  string(APPEND vela_time64_flags " -D${definition}")
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/vela.pc.in vela.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vela.pc DESTINATION ${vela_pc_dir})
if(TARGET vela_overlay)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/vela-overlay.pc.in vela-overlay.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/vela-overlay.pc DESTINATION ${vela_pc_dir})
endif()

include(${PROJECT_SOURCE_DIR}/packaging/packages.cmake)
