# Debian packages: `cpack` in a build folder of the release preset, or scripts/package.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME sensor-cal)
set(CPACK_PACKAGE_CONTACT "The sensor_cal maintainers <sensor-cal@localhost>")
set(CPACK_PACKAGE_HOMEPAGE_URL "")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library development platform application)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libsensor-cal${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "Calibration of a phone's sensors: the shared library
 Averages sensor samples under limits, turns them into offsets, scales and
 crosstalk values, and hands these to the sensor hub.")
set(CPACK_COMPONENT_LIBRARY_DEPENDS platform)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libsensor-cal-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Calibration of a phone's sensors: headers
 Headers, CMake package and pkg-config file of libsensor_cal.")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library platform)

set(CPACK_DEBIAN_PLATFORM_PACKAGE_NAME sensor-cal-platform)
set(CPACK_DEBIAN_PLATFORM_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_PLATFORM_DESCRIPTION "Stand-in for Android's interfaces on a Linux host
 Log, properties, services and sensor interfaces under Android's own header
 names, for programs that use libsensor_cal away from a phone.")

set(CPACK_DEBIAN_APPLICATION_PACKAGE_NAME sensorcal)
set(CPACK_DEBIAN_APPLICATION_PACKAGE_SECTION utils)
set(CPACK_COMPONENT_APPLICATION_DESCRIPTION "Factory test application for a phone's sensors
 Calibrates, checks and reports the sensors of a phone, or of a simulated one.")
set(CPACK_COMPONENT_APPLICATION_DEPENDS library platform)

include(CPack)
