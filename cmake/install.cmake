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
foreach(archive vela vela-overlay)
  if(VELA_DEBUG_INFO AND (TARGET vela_overlay OR archive STREQUAL vela))
    install(CODE "execute_process(COMMAND ${CMAKE_STRIP} --strip-debug --enable-deterministic-archives
      \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/lib${archive}.a COMMAND_ERROR_IS_FATAL ANY)")
  endif()
endforeach()

# The headers; those of modules that are not built are left out, with what includes them.
set(vela_left_out "")
if(VELA_MODULES)
  file(GLOB_RECURSE headers RELATIVE ${PROJECT_SOURCE_DIR}/include
       ${PROJECT_SOURCE_DIR}/include/*.h ${PROJECT_SOURCE_DIR}/include/*.hpp)
  list(REMOVE_ITEM headers vela/vela.h vela/vela.hpp)
  set(vela_left_out ${headers})
  list(FILTER vela_left_out INCLUDE REGEX "^vela/[a-z0-9]+\\.h$")
  list(TRANSFORM vela_modules REPLACE "(.+)" "vela/\\1.h" OUTPUT_VARIABLE kept)
  list(REMOVE_ITEM vela_left_out ${kept} vela/attributes.h vela/version.h)
  set(before "")
  while(NOT before STREQUAL vela_left_out)
    set(before ${vela_left_out})
    string(REPLACE ";" "|" pattern "${vela_left_out}")
    foreach(header IN LISTS headers)
      file(STRINGS ${PROJECT_SOURCE_DIR}/include/${header} found REGEX "^#include <(${pattern})>")
      if(found)
        list(APPEND vela_left_out ${header})
      endif()
    endforeach()
    list(REMOVE_DUPLICATES vela_left_out)
  endwhile()
endif()
string(REPLACE ";" "|" pattern "vela/vela.h;vela/vela.hpp;${vela_left_out}")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vela DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        REGEX "/(${pattern})$" EXCLUDE)
foreach(header vela.h vela.hpp)
  file(READ ${PROJECT_SOURCE_DIR}/include/vela/${header} text)
  string(REGEX REPLACE "#include <(${pattern})>\n" "" text "${text}")
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/installed/${header} CONTENT "${text}" @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/installed/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vela)
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/build/docs/man/
        DESTINATION ${CMAKE_INSTALL_MANDIR} OPTIONAL)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/build/docs/html DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vela-doc
        COMPONENT documentation EXCLUDE_FROM_ALL OPTIONAL)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vela-examples
        COMPONENT examples EXCLUDE_FROM_ALL PATTERN CMakeLists.txt EXCLUDE PATTERN demo EXCLUDE)

set(vela_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vela)
install(EXPORT vela-targets FILE vela-targets.cmake NAMESPACE vela:: DESTINATION ${vela_package_dir})
configure_file(${PROJECT_SOURCE_DIR}/cmake/vela-config.cmake.in vela-config.cmake @ONLY)
write_basic_package_version_file(vela-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vela-config.cmake ${PROJECT_BINARY_DIR}/vela-config-version.cmake
        DESTINATION ${vela_package_dir})

# The file computes its prefix from its own location, so an installed tree can be moved.
set(vela_pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH vela_prefix_from_pc ${CMAKE_INSTALL_PREFIX}/${vela_pc_dir} ${CMAKE_INSTALL_PREFIX})
set(vela_time64_flags "")
foreach(definition IN LISTS vela_time64)
  string(APPEND vela_time64_flags " -D${definition}")
endforeach()
# vela_install_pc(NAME DESCRIPTION): for pkg-config.
function(vela_install_pc name description)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/vela.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${vela_pc_dir})
endfunction()
vela_install_pc(vela "${PROJECT_DESCRIPTION}")
if(TARGET vela_overlay)
  vela_install_pc(vela-overlay "Pictures of cameras, and masks that stay in place on them")
endif()

include(${PROJECT_SOURCE_DIR}/packaging/packages.cmake)
