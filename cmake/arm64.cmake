# 64-bit ARM, as most phones run it: Debian's cross-compiler, foreign libraries from .ci/arm_sysroot.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(ARM_TRIPLE aarch64-linux-gnu)
set(ARM_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot/arm64)
set(ARM_EMULATOR qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/arm_common.cmake)
