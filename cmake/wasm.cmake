# The library as WebAssembly: vela.wasm for every host, and vela-simd.wasm with 16-byte vectors.
#
# A module's exports are `memory`, `__stack_pointer`, `_initialize` (call it first), malloc(), free(), and the functions
# of cmake/symbols.list that cmake/wasm-left-out.list does not name. Pointers, sizes and `long` have 32 bits, time_t and
# suseconds_t 64; structures are passed and returned through a pointer. It imports two functions, both from `env`:
#
#     fail(expression, file, line, function)   a precondition is violated; pointers to NUL-terminated ASCII, and a number.
#                                              It must throw and set `__stack_pointer` to what it was before the call.
#     random(pointer, length)                  fill with random bytes from the system, or throw
#
# Memory grows without a limit, so a view of it is good until the next call that may allocate.

set(vela_symbol_list ${PROJECT_SOURCE_DIR}/cmake/symbols.list)
set(vela_left_out_list ${PROJECT_SOURCE_DIR}/cmake/wasm-left-out.list)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${vela_symbol_list} ${vela_left_out_list})
file(STRINGS ${vela_symbol_list} exported REGEX "^[A-Za-z_]")
file(STRINGS ${vela_left_out_list} lines REGEX "^[A-Za-z_]")
foreach(line IN LISTS lines)
  separate_arguments(names UNIX_COMMAND "${line}")
  foreach(name IN LISTS names)
    if(NOT name IN_LIST exported)
      message(FATAL_ERROR "${vela_left_out_list}: there is no ${name}")
    endif()
  endforeach()
  list(REMOVE_ITEM exported ${names})
endforeach()
list(TRANSFORM exported PREPEND -Wl,--export=)

# The compiler gets no level for the link: with one it would look for another program to optimise, and the bytes depend
# on what is installed. The stack lies in front: it ends where memory does.
set(vela_module_link_options -mexec-model=reactor -O0 -Wl,-O2,--gc-sections,--strip-all
  -Wl,--stack-first,-z,stack-size=65536)

add_custom_target(vela_wasm ALL)

# vela_add_module(NAME OPTION...): NAME.wasm, and the objects NAME_objects that it is made of.
function(vela_add_module name)
  vela_add_objects(${name}_objects ${ARGN})
  set_target_properties(${name}_objects PROPERTIES UNIT_OPTIONS "${ARGN}")
  add_executable(${name} source/wasm/streams.cpp $<TARGET_OBJECTS:${name}_objects>)
  target_link_libraries(${name} PRIVATE vela_options)
  set_target_properties(${name} PROPERTIES SUFFIX .wasm RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
  target_link_options(${name} PRIVATE ${vela_module_link_options}
    -Wl,--export=__stack_pointer,--export=malloc,--export=free ${exported})
  set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS ${vela_symbol_list} ${vela_left_out_list})
  add_dependencies(vela_wasm ${name})
endfunction()

vela_add_module(vela)
vela_add_module(vela-simd -msimd128)

# Masks and marks, a header for C++ alone, as a module of its own that serves without the other: vela-overlay.wasm.
add_executable(vela-overlay source/wasm/overlay.cpp)
target_include_directories(vela-overlay PRIVATE include)
target_link_libraries(vela-overlay PRIVATE vela_options)
target_compile_options(vela-overlay PRIVATE -fno-exceptions -fno-rtti)
set_target_properties(vela-overlay PROPERTIES SUFFIX .wasm RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
target_link_options(vela-overlay PRIVATE ${vela_module_link_options}
  -Wl,--export=__stack_pointer,--export=malloc,--export=free)
add_dependencies(vela_wasm vela-overlay)
