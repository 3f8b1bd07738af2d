# 32-bit ARM with VFPv4 and NEON on every processor.
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-armhf.cmake)
set(CMAKE_C_FLAGS_INIT "-mcpu=cortex-a7 -mfpu=neon-vfpv4")
set(CMAKE_CXX_FLAGS_INIT "-mcpu=cortex-a7 -mfpu=neon-vfpv4")
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-arm;-cpu;cortex-a7;-L;/")
