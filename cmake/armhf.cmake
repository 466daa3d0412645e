# 32-bit ARM with hardware floating point: pointers, long and time_t of 32 bits.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(ARM_TRIPLE arm-linux-gnueabihf)
set(ARM_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot/armhf)
set(ARM_EMULATOR qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/arm_common.cmake)
