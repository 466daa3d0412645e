# What both ARM toolchain files share. The compiler's own libc comes with the cross-compiler below /usr/TRIPLE; the
# sysroot holds only the libraries that this project links.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${ARM_TRIPLE}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${ARM_TRIPLE})
set(CMAKE_FIND_ROOT_PATH ${ARM_SYSROOT} /usr/${ARM_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
# GCC 7 changed how 32-bit ARM passes some types and says so at every use; nothing older is linked here.
if(ARM_TRIPLE STREQUAL arm-linux-gnueabihf)
  set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
endif()
# Headers that differ by architecture, which a compiler looks for by itself only where it is at home.
get_filename_component(ARM_SYSROOT ${ARM_SYSROOT} ABSOLUTE)
string(APPEND CMAKE_CXX_FLAGS_INIT " -isystem ${ARM_SYSROOT}/usr/include/${ARM_TRIPLE}")
# Libraries that other libraries need are looked for here too, when linking and when running.
set(ARM_LIBRARIES ${ARM_SYSROOT}/usr/lib/${ARM_TRIPLE}:${ARM_SYSROOT}/lib/${ARM_TRIPLE})
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-rpath-link,${ARM_LIBRARIES})
set(CMAKE_SHARED_LINKER_FLAGS_INIT -Wl,-rpath-link,${ARM_LIBRARIES})
set(CMAKE_CROSSCOMPILING_EMULATOR ${ARM_EMULATOR};-L;/usr/${ARM_TRIPLE};-E;LD_LIBRARY_PATH=${ARM_LIBRARIES})
