include(CheckCXXSourceCompiles)

# On 32-bit x86 the x87 unit keeps intermediate results in more bits than their type has: SSE2 does not.
unset(vela_is_i386 CACHE) # no result of an earlier run, since the compiler's flags may change
check_cxx_source_compiles("
  #ifndef __i386__
  #error
  #endif
  int main() {}" vela_is_i386)

# vela_options: what every target of this project is compiled with.
add_library(vela_options INTERFACE)
target_compile_options(vela_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<COMPILE_LANGUAGE:CXX>:-Wno-psabi>
  $<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion> # which GCC's -Wconversion leaves out in C++
  $<$<BOOL:${VELA_WERROR}>:-Werror>
  # The same bits on every machine: no fused multiply-add, nothing reassociated.
  -ffp-contract=off
  $<$<BOOL:${vela_is_i386}>:-msse2>
  $<$<BOOL:${vela_is_i386}>:-mfpmath=sse>
  # Assertions and diagnostics name files as the source tree does.
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)

# vela_hardened: what the library and the camera's programs have besides, if they are hardened.
add_library(vela_hardened INTERFACE)
if(VELA_HARDENED)
  target_compile_options(vela_hardened INTERFACE -fstack-protector)
  target_compile_definitions(vela_hardened INTERFACE _FORTIFY_SOURCE=2)
  target_link_options(vela_hardened INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
endif()

if(VELA_COVERAGE)
  target_compile_options(vela_options INTERFACE --coverage -Og)
  target_link_options(vela_options INTERFACE --coverage)
endif()
if(VELA_SANITIZE)
  target_compile_options(vela_options INTERFACE
    -g -fsanitize=${VELA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>) # GCC warns of what the sanitizers' own code only seems to read
  target_link_options(vela_options INTERFACE -fsanitize=${VELA_SANITIZE})
endif()

# vela_programs(PREFIX LIBRARY): each C or C++ file NAME of the directory becomes the target PREFIX_NAME, a program NAME.
function(vela_programs prefix library)
  file(GLOB files CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.c ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  foreach(file IN LISTS files)
    cmake_path(GET file STEM name)
    add_executable(${prefix}_${name} ${file})
    set_target_properties(${prefix}_${name} PROPERTIES OUTPUT_NAME ${name})
    target_link_libraries(${prefix}_${name} PRIVATE ${library} vela_options)
  endforeach()
endfunction()
