# What `cmake --install` and the packages carry. Components:
#   library      libsensor_cal.so.N
#   development  headers (include/sensor_cal), CMake package, pkg-config file
#   platform     the stand-in for Android's interfaces, which the exported headers include; for hosts only
#   application  sensorcal, its man page, completions and plans
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(headers ${CMAKE_INSTALL_INCLUDEDIR}/sensor_cal)
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/sensor_cal)

target_include_directories(sensor_cal PUBLIC $<INSTALL_INTERFACE:${headers}>)
target_include_directories(sensor_platform PUBLIC $<INSTALL_INTERFACE:${headers}/platform>)

# Found beside each other wherever the prefix lies.
set_target_properties(sensor_cal PROPERTIES INSTALL_RPATH $ORIGIN)
set_target_properties(sensorcal PROPERTIES INSTALL_RPATH $ORIGIN/../${CMAKE_INSTALL_LIBDIR})

install(TARGETS sensor_cal EXPORT sensor_cal
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development)
install(TARGETS sensor_platform EXPORT sensor_platform
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT platform)
install(DIRECTORY include/ DESTINATION ${headers} COMPONENT development FILES_MATCHING PATTERN "*.h")
install(DIRECTORY host/platform/include/ DESTINATION ${headers}/platform COMPONENT platform FILES_MATCHING PATTERN "*.h")

install(EXPORT sensor_cal NAMESPACE sensor_cal:: FILE sensor_cal-targets.cmake
  DESTINATION ${package} COMPONENT development)
install(EXPORT sensor_platform NAMESPACE sensor_cal:: FILE sensor_platform-targets.cmake
  DESTINATION ${package} COMPONENT platform)
configure_package_config_file(cmake/packages/sensor_cal-config.cmake.in ${CMAKE_BINARY_DIR}/sensor_cal-config.cmake
  INSTALL_DESTINATION ${package})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/sensor_cal-config-version.cmake COMPATIBILITY SameMajorVersion)
file(RELATIVE_PATH PC_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/packages/sensor_cal.pc.in ${CMAKE_BINARY_DIR}/sensor_cal.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/sensor_cal-config.cmake ${CMAKE_BINARY_DIR}/sensor_cal-config-version.cmake
  DESTINATION ${package} COMPONENT development)
install(FILES ${CMAKE_BINARY_DIR}/sensor_cal.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# The program writes its own man page and completions.
set(manual ${CMAKE_BINARY_DIR}/manual)
file(MAKE_DIRECTORY ${manual})
add_custom_command(OUTPUT ${manual}/sensorcal.1 ${manual}/sensorcal ${manual}/_sensorcal
  COMMAND sensorcal man > ${manual}/sensorcal.1
  COMMAND sensorcal completion bash > ${manual}/sensorcal
  COMMAND sensorcal completion zsh > ${manual}/_sensorcal
  DEPENDS sensorcal)
add_custom_target(sensorcal_manual ALL DEPENDS ${manual}/sensorcal.1 ${manual}/sensorcal ${manual}/_sensorcal)

install(TARGETS sensorcal RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT application)
install(FILES ${manual}/sensorcal.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT application)
install(FILES ${manual}/sensorcal DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT application)
install(FILES ${manual}/_sensorcal DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT application)
install(DIRECTORY plans DESTINATION ${CMAKE_INSTALL_DATADIR}/sensorcal COMPONENT application)

include(${CMAKE_CURRENT_LIST_DIR}/Packages.cmake)

# Each package brings its licence, under the name that Debian gives it.
foreach(component library development platform application)
  string(TOUPPER ${component} upper)
  install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME} RENAME copyright
    COMPONENT ${component})
endforeach()
