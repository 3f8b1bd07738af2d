# vela_options: what every target of this project is compiled with.
add_library(vela_options INTERFACE)
target_compile_options(vela_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<COMPILE_LANGUAGE:CXX>:-Wno-psabi>
  $<$<BOOL:${VELA_WERROR}>:-Werror>
  # The same bits on every machine: no fused multiply-add, nothing reassociated.
  -ffp-contract=off
  # Assertions and diagnostics name files as the source tree does.
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)

if(VELA_SANITIZE)
  target_compile_options(vela_options INTERFACE
    -g -fsanitize=${VELA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(vela_options INTERFACE -fsanitize=${VELA_SANITIZE})
endif()
