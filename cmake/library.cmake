include(CheckCXXSourceCompiles)

# The libraries: one object per source file, linked once as libvela.so and archived once as libvela.a. Pictures and the
# overlay for C are in a library of their own, libvela-overlay, so that nobody carries them who has no pictures.
file(GLOB_RECURSE vela_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/source/*.cpp)
set(vela_overlay_sources ${vela_sources})
list(FILTER vela_overlay_sources INCLUDE REGEX "/source/(overlay|picture)(\\.cpp$|/)")

# vela_sources_of(PLACE FILES): source/PLACE.cpp, or all files of the directory source/PLACE.
function(vela_sources_of place files)
  set(found ${vela_sources})
  list(FILTER found INCLUDE REGEX "/source/${place}(\\.cpp$|/)")
  if(NOT found)
    message(FATAL_ERROR "there is no source/${place}")
  endif()
  set(${files} ${found} PARENT_SCOPE)
endfunction()

# vela_compile_options(PLACE OPTION...): adds options for these sources, except in debug builds.
function(vela_compile_options place)
  vela_sources_of(${place} files)
  set_property(SOURCE ${files} APPEND PROPERTY COMPILE_OPTIONS "$<$<NOT:$<CONFIG:Debug>>:${ARGN}>")
endfunction()

if(NOT VELA_SMALL AND NOT VELA_COVERAGE)
  # Modules whose inner loops gain by unrolling and vectorising, and files without hot paths.
  foreach(place interp matrix picture/convert resample)
    vela_compile_options(${place} -O3)
  endforeach()
  foreach(place check chull/records chull/steps chull/checks chull/listing chull/off filesystem matrix/solve
          matrix/fit)
    vela_compile_options(${place} -Os)
  endforeach()
  vela_compile_options(text -ftree-vectorize)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    # Where kernels use all vector registers, keeping the source's order avoids copies.
    vela_compile_options(resample -fno-schedule-insns)
    vela_compile_options(matrix/svd -fno-schedule-insns)
    # For code size: the inner loops of the first are intrinsics, and the second's speed counts more elsewhere.
    vela_compile_options(resample/bank -Os)
    vela_compile_options(resample/bank_design -Os)
    # For code size: unrolled, the elimination executes a sixth fewer instructions and takes a third more code.
    vela_compile_options(matrix/inverse -O2)
  elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC 12 leaves products out where it vectorises the sums of the plain version, which are made in four lanes.
    vela_compile_options(resample/bank -fno-tree-vectorize)
  endif()
endif()

if(VELA_HARDENED)
  # Its buffers are filled at constant indices: a stack guard would cost 5 % of a call without protecting anything.
  vela_compile_options(uuid -fno-stack-protector)
  # Its arrays are of numbers, which the plain guard leaves out.
  vela_compile_options(overlay -fstack-protector-strong)
endif()

list(REMOVE_ITEM vela_sources ${vela_overlay_sources})

# VELA_MODULES adds the modules that the named ones call; the symbols of the others are missing.
set(vela_needed_by_cgi url)
set(vela_needed_by_check cmdline)
set(vela_needed_by_spheremap fixedpoint)
if(VELA_MODULES)
  set(vela_modules ${VELA_MODULES})
  foreach(module IN LISTS VELA_MODULES)
    list(APPEND vela_modules ${vela_needed_by_${module}})
  endforeach()
  list(REMOVE_DUPLICATES vela_modules)
  set(vela_chosen "")
  foreach(module IN LISTS vela_modules)
    vela_sources_of(${module} files)
    list(APPEND vela_chosen ${files})
  endforeach()
  set(vela_sources ${vela_chosen})
else()
  set(vela_modules ${vela_sources})
  list(TRANSFORM vela_modules REPLACE ".*/source/([a-z0-9]+)[./].*" "\\1")
  list(REMOVE_DUPLICATES vela_modules)
  list(REMOVE_ITEM vela_modules common)
endif()

# vela_add_objects(TARGET OPTION...): the library's objects, compiled with further options.
function(vela_add_objects target)
  vela_add_objects_of(${target} "${vela_sources}" ${ARGN})
endfunction()

function(vela_add_objects_of target sources)
  add_library(${target} OBJECT ${sources})
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> PRIVATE ${PROJECT_SOURCE_DIR}/source)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:vela_options> $<BUILD_INTERFACE:vela_hardened>)
  target_compile_options(${target} PRIVATE
    -Wmissing-declarations -fno-exceptions -fno-rtti -fno-threadsafe-statics
    $<$<CXX_COMPILER_ID:GNU>:-Wno-mismatched-dealloc> # the records of VELA_RELEASED_BY() come from malloc()
    -fno-asynchronous-unwind-tables -ffunction-sections -fdata-sections ${ARGN}
    $<$<BOOL:${VELA_SMALL}>:-Os> $<$<BOOL:${VELA_DEBUG_INFO}>:-g>)
  target_compile_definitions(${target} PRIVATE _FILE_OFFSET_BITS=64 $<$<BOOL:${VELA_SMALL}>:VELA_SCALAR>)
  set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden)
endfunction()

if(CMAKE_SYSTEM_PROCESSOR STREQUAL "wasm32")
  return() # js/ links modules
endif()

# 64-bit times, for the library and its users.
set(vela_time64 "")
if(VELA_TIME64)
  set(vela_time64 _TIME_BITS=64 _FILE_OFFSET_BITS=64)
endif()

# The lists of exported symbols name the release that added each; the linker's version scripts are made from them, with a
# node for each release.
set(vela_symbol_list ${PROJECT_SOURCE_DIR}/cmake/symbols.list)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${vela_symbol_list})

# The functions of times have other symbols if times are wider than the platform's first ones, by the option or by the
# compiler's flags. No result of an earlier run is kept, since both may change.
unset(vela_has_other_times CACHE)
set(CMAKE_REQUIRED_DEFINITIONS -D_FILE_OFFSET_BITS=64)
if(VELA_TIME64)
  list(APPEND CMAKE_REQUIRED_DEFINITIONS -D_TIME_BITS=64)
endif()
check_cxx_source_compiles("
  #include <sys/time.h>
  #if !(defined(__TIMESIZE) && __TIMESIZE == 32 && defined(__USE_TIME_BITS64))
  #error
  #endif
  int main() {}" vela_has_other_times)
unset(CMAKE_REQUIRED_DEFINITIONS)
if(vela_has_other_times)
  file(READ ${vela_symbol_list} list)
  string(REGEX REPLACE "\n(gettime|time_[a-z_]+)" "\n\\1_time64" list "${list}")
  set(vela_symbol_list ${PROJECT_BINARY_DIR}/symbols.list)
  file(WRITE ${vela_symbol_list} "${list}")
endif()

# vela_write_version_script(LIST NODE FILE): a node NODE_RELEASE for each release.
function(vela_write_version_script list node file)
  file(STRINGS ${list} lines)
  set(releases "")
  foreach(line IN LISTS lines)
    if(line MATCHES "^# ([0-9.]+):")
      set(release ${CMAKE_MATCH_1})
      list(APPEND releases ${release})
    elseif(line MATCHES "^[A-Za-z_]+")
      string(APPEND symbols_${release} "    ${line};\n")
    endif()
  endforeach()
  list(REMOVE_DUPLICATES releases)
  list(SORT releases COMPARE NATURAL)
  set(nodes "")
  set(previous "")
  foreach(release IN LISTS releases)
    string(APPEND nodes "${node}_${release} {\n  global:\n${symbols_${release}}")
    if(NOT previous)
      string(APPEND nodes "  local:\n    *;\n")
    endif()
    string(APPEND nodes "}${previous};\n")
    set(previous " ${node}_${release}")
  endforeach()
  file(WRITE ${file} "${nodes}")
endfunction()

# Linked by the C driver, so that neither libstdc++ nor a shared libgcc is ever a dependency.
set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")

# vela_add_library(NAME OUTPUT SOURCES SYMBOLS NODE): the shared library NAME and the archive NAME_static.
function(vela_add_library name output sources symbols node)
  vela_add_objects_of(${name}_objects "${sources}" -fno-semantic-interposition)
  set_target_properties(${name}_objects PROPERTIES POSITION_INDEPENDENT_CODE ON)
  target_compile_definitions(${name}_objects PRIVATE ${vela_time64})
  add_library(${name} SHARED $<TARGET_OBJECTS:${name}_objects>)
  add_library(${name}_static STATIC $<TARGET_OBJECTS:${name}_objects>)
  foreach(target ${name} ${name}_static)
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C OUTPUT_NAME ${output})
    target_include_directories(${target} PUBLIC
      $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    target_compile_definitions(${target} PUBLIC ${vela_time64})
  endforeach()
  target_link_libraries(${name}_static INTERFACE m)
  target_link_libraries(${name} PRIVATE m $<BUILD_INTERFACE:vela_hardened>)
  set(script ${PROJECT_BINARY_DIR}/${output}.map)
  vela_write_version_script(${symbols} ${node} ${script})
  target_link_options(${name} PRIVATE -static-libgcc -Wl,-Bsymbolic-functions,--gc-sections,--as-needed
    -Wl,--version-script=${script})
  if(VELA_SANITIZE)
    target_link_options(${name} PRIVATE -fsanitize=${VELA_SANITIZE})
  elseif(VELA_COVERAGE)
    target_link_options(${name} PRIVATE --coverage)
  else()
    target_link_options(${name} PRIVATE -Wl,-z,defs)
  endif()
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${script})
endfunction()

vela_add_library(vela vela "${vela_sources}" ${vela_symbol_list} VELA)
add_library(vela::vela ALIAS vela)
add_library(vela::vela_static ALIAS vela_static)
if(NOT VELA_MODULES)
  set(vela_overlay_symbol_list ${PROJECT_SOURCE_DIR}/cmake/overlay-symbols.list)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${vela_overlay_symbol_list})
  vela_add_library(vela_overlay vela-overlay "${vela_overlay_sources}" ${vela_overlay_symbol_list} VELA_OVERLAY)
  foreach(suffix "" _static)
    set_target_properties(vela_overlay${suffix} PROPERTIES EXPORT_NAME overlay${suffix})
    add_library(vela::overlay${suffix} ALIAS vela_overlay${suffix})
  endforeach()
endif()
