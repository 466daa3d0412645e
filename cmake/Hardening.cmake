# What an attacker meets in every optimised build; .ci/check_hardening looks for each in the result. The sanitizers
# bring checks of their own, and two kinds of checks in one call hide each other's reports.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

if(NOT SENSOR_CAL_SANITIZE)
  set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
  add_compile_options(
    $<${optimised}:-fstack-protector-strong>
    $<${optimised}:-fstack-clash-protection>
    $<${optimised}:-U_FORTIFY_SOURCE>
    $<${optimised}:-D_FORTIFY_SOURCE=3>
    $<${optimised}:-D_GLIBCXX_ASSERTIONS>)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    add_compile_options($<${optimised}:-fcf-protection=full>)
  elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL aarch64)
    add_compile_options($<${optimised}:-mbranch-protection=standard>)
  endif()
  add_link_options(
    $<${optimised}:LINKER:-z,relro>
    $<${optimised}:LINKER:-z,now>
    $<${optimised}:LINKER:-z,noexecstack>)
endif()
