# Debian's cross compiler for 32-bit ARM with a hardware floating-point unit (VFPv3-D16, no NEON).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
# The multi-architecture libraries live in the ordinary root.
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-arm;-L;/")
