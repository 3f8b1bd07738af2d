# Debian packages, by `cpack`; scripts/package builds their contents.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_CONTACT "Vela developers <developers@vela.invalid>" CACHE STRING "Maintainer of the packages")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library overlay development documentation examples mask camera)
if(CMAKE_LIBRARY_ARCHITECTURE MATCHES "^arm")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
endif()

string(TIMESTAMP vela_package_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${PROJECT_BINARY_DIR}/packages/changelog "vela (${PROJECT_VERSION}) stable; urgency=medium

  * The changes are in CHANGELOG.md of the source, and in the reference of the package vela-doc.

 -- ${CPACK_PACKAGE_CONTACT}  ${vela_package_date}
")

# vela_package(COMPONENT NAME ARCHITECTURE DEPENDS TEXT): every package has a changelog and a copyright file.
function(vela_package component name architecture depends text)
  string(TOUPPER ${component} part)
  set(doc ${PROJECT_BINARY_DIR}/packages/${name})
  file(MAKE_DIRECTORY ${doc})
  execute_process(COMMAND gzip -9nc ${PROJECT_BINARY_DIR}/packages/changelog OUTPUT_FILE ${doc}/changelog.gz)
  install(FILES ${doc}/changelog.gz ${PROJECT_SOURCE_DIR}/packaging/copyright
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component} EXCLUDE_FROM_ALL)
  set(CPACK_DEBIAN_${part}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${part}_PACKAGE_DEPENDS ${depends} PARENT_SCOPE)
  set(CPACK_DEBIAN_${part}_DESCRIPTION "${text}" PARENT_SCOPE)
  if(architecture STREQUAL all)
    set(CPACK_DEBIAN_${part}_PACKAGE_ARCHITECTURE all PARENT_SCOPE)
  endif()
endfunction()

set(same_library "libvela1 (= ${PROJECT_VERSION})")
vela_package(library libvela1 any ""
  "The shared library: fixed-point maths, pan/tilt geometry, audio
resampling with G.711, convex hulls, small linear algebra, splines, colour
conversion, CGI, URLs, text, Base64, UUIDs, the command line, times and
files. Results are bit-identical on every machine.")
set(same_overlay "libvela-overlay1 (= ${PROJECT_VERSION})")
vela_package(overlay libvela-overlay1 any ""
  "The shared library for pictures of cameras: conversion between formats, and
privacy masks that stay in place whatever the lens and the movement.")
vela_package(development libvela-dev any "${same_library}, ${same_overlay}"
  "Development files: headers for C11 and C++20, the static libraries, manual
pages, a CMake package and pkg-config files.")
vela_package(documentation vela-doc all "" "The reference of all functions in HTML.")
vela_package(examples vela-examples all "" "The source of small example programs for each module.")
vela_package(mask vela-mask any "${same_library}, ${same_overlay}"
  "Privacy masks in video from a moving camera: YUV4MPEG2 on standard input and
output, masks and lenses as JSON, the camera's position as a table.")
set(CPACK_DEBIAN_MASK_PACKAGE_SECTION video)
vela_package(camera vela-camera any "${same_library}, ${same_overlay}, lighttpd"
  "An example pan/tilt camera with a web interface, built on the library: live
pictures and sound of a painted scene, privacy masks, presets and patrols,
recordings, a tone curve, the hull of its colours.")
set(CPACK_DEBIAN_CAMERA_PACKAGE_RECOMMENDS "espeak-ng, ffmpeg, imagemagick")
set(CPACK_DEBIAN_CAMERA_PACKAGE_SECTION web)
execute_process(COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/camera/server/vela-camera.1
                OUTPUT_FILE ${PROJECT_BINARY_DIR}/packages/vela-camera.1.gz)
install(FILES ${PROJECT_BINARY_DIR}/packages/vela-camera.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
        COMPONENT camera EXCLUDE_FROM_ALL)

# Debugging information goes into a package of its own, where debuggers look for it by the library's build ID.
if(VELA_DEBUG_INFO)
  list(APPEND CPACK_COMPONENTS_ALL symbols)
  vela_package(symbols libvela1-dbgsym any "${same_library}, ${same_overlay}" "Debugging symbols of the shared libraries.")
  set(CPACK_DEBIAN_SYMBOLS_PACKAGE_SECTION debug)
  foreach(library libvela libvela-overlay)
    install(CODE "
      execute_process(COMMAND ${CMAKE_READELF} -n ${PROJECT_BINARY_DIR}/${library}.so OUTPUT_VARIABLE notes)
      string(REGEX REPLACE \".*Build ID: (..)([0-9a-f]+).*\" \"\\\\1/\\\\2.debug\" file \"\${notes}\")
      set(file \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/lib/debug/.build-id/\${file}\")
      cmake_path(GET file PARENT_PATH directory)
      file(MAKE_DIRECTORY \${directory})
      execute_process(COMMAND ${CMAKE_OBJCOPY} --only-keep-debug --compress-debug-sections
                      ${PROJECT_BINARY_DIR}/${library}.so \${file} COMMAND_ERROR_IS_FATAL ANY)"
      COMPONENT symbols EXCLUDE_FROM_ALL)
  endforeach()
endif()
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_EXAMPLES_PACKAGE_SECTION doc)

# The dynamic linker's cache is renewed (cpack's own scripts do it as well, of which lintian warns), and packages whose
# programs are linked with the library learn what they need.
file(WRITE ${PROJECT_BINARY_DIR}/packages/triggers "activate-noawait ldconfig\n")
foreach(package library overlay)
  set(library libvela)
  if(package STREQUAL overlay)
    set(library libvela-overlay)
  endif()
  file(WRITE ${PROJECT_BINARY_DIR}/packages/${package}/shlibs
       "${library} ${PROJECT_VERSION_MAJOR} ${library}${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION})\n")
  string(TOUPPER ${package} part)
  set(CPACK_DEBIAN_${part}_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/packages/triggers
      ${PROJECT_BINARY_DIR}/packages/${package}/shlibs)
endforeach()
include(CPack)
