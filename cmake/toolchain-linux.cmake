# Debian's cross compiler for VELA_TARGET, and the emulator of its processor. Without it: 32-bit ARM with a hardware
# floating-point unit (VFPv3-D16, no NEON).
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELA_TARGET)
set(VELA_TARGET arm-linux-gnueabihf CACHE STRING "The triplet of the cross compiler")
string(REGEX MATCH "^[^-]+" CMAKE_SYSTEM_PROCESSOR ${VELA_TARGET})
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${VELA_TARGET}-gcc)
set(CMAKE_CXX_COMPILER ${VELA_TARGET}-g++)
string(REPLACE i686 i386 CMAKE_LIBRARY_ARCHITECTURE ${VELA_TARGET})
# The multi-architecture libraries live in the ordinary root.
string(REGEX MATCH "^[^-]+" emulated ${CMAKE_LIBRARY_ARCHITECTURE})
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-${emulated};-L;/" CACHE STRING "The program that runs programs of the target")
