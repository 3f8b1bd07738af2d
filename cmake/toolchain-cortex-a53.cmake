# A 64-bit ARM processor in 32-bit mode.
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-armhf.cmake)
set(CMAKE_C_FLAGS_INIT "-mcpu=cortex-a53")
set(CMAKE_CXX_FLAGS_INIT "-mcpu=cortex-a53")
