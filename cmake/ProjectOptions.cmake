# Compiler settings of every target, and the sanitizer switch of the presets.
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
add_link_options(-Wl,--build-id=sha1)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)

set(SENSOR_CAL_SANITIZE "" CACHE STRING "Value for -fsanitize=, for example address,undefined")

find_program(CCACHE ccache)
if(CCACHE)
  # It leaves sources with precompiled headers alone unless it is told that their macros are no matter.
  set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE})
endif()

add_library(project_options INTERFACE)
# No contraction: the sample window's sums are required to round after every operation.
target_compile_options(project_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2 -Wnon-virtual-dtor -Woverloaded-virtual -Werror
  -ffp-contract=off)
# GCC 12 sees overlapping copies in std::string's own concatenation where there are none.
target_compile_options(project_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
if(SENSOR_CAL_SANITIZE)
  add_compile_options(-fsanitize=${SENSOR_CAL_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${SENSOR_CAL_SANITIZE})
  if(SENSOR_CAL_SANITIZE MATCHES undefined)
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()
