# sensorcal_room(NAME [OBJECT] SOURCES... KNOWS rooms... [PRIVATE libraries...]): one room of the application. Its headers
# are included as "NAME/header.h", through an include root that it shares with no other room: who does not link the room
# does not see them. The target of a room within a folder of rooms, "commands/phone", has a "_" for the "/".
function(sensorcal_room name)
  cmake_parse_arguments(ARG "OBJECT" "" "SOURCES;KNOWS;PRIVATE" ${ARGN})
  set(kind STATIC)
  if(ARG_OBJECT)
    set(kind OBJECT)
  endif()
  string(REPLACE / _ target sensorcal_${name})
  add_library(${target} ${kind} ${ARG_SOURCES})
  set(root ${CMAKE_BINARY_DIR}/rooms/${target})
  cmake_path(GET name PARENT_PATH folder)
  file(MAKE_DIRECTORY ${root}/${folder})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${root}/${name} SYMBOLIC)
  target_include_directories(${target} PUBLIC ${root})
  target_compile_features(${target} PUBLIC cxx_std_20)
  set(known)
  foreach(other ${ARG_KNOWS})
    if(TARGET sensorcal_${other})
      list(APPEND known sensorcal_${other})
    else()
      list(APPEND known ${other})
    endif()
  endforeach()
  target_link_libraries(${target} PUBLIC ${known} PRIVATE ${ARG_PRIVATE} project_options)
  common_headers(${target})
endfunction()

# common_headers(TARGET): what most sources include is read once for all of them, a third of their compilation. Only where
# tests are built: elsewhere, as in a phone's tree, a source that lacks an include is seen. Not where all is optimized either:
# of precompiled headers GCC 12 takes std::string's own copies for some that are out of bounds.
function(common_headers target)
  if(NOT BUILD_TESTING OR CMAKE_BUILD_TYPE STREQUAL Release)
    return()
  endif()
  if(NOT TARGET common_headers)
    file(WRITE ${CMAKE_BINARY_DIR}/common_headers.cpp "")
    add_library(common_headers OBJECT ${CMAKE_BINARY_DIR}/common_headers.cpp)
    target_compile_features(common_headers PUBLIC cxx_std_20)
    target_link_libraries(common_headers PRIVATE JsonCpp::JsonCpp project_options)
    target_precompile_headers(common_headers PRIVATE <json/json.h> <algorithm> <chrono> <cmath> <filesystem> <fstream>
                              <functional> <map> <memory> <mutex> <optional> <sstream> <string> <thread> <vector>)
  endif()
  target_precompile_headers(${target} REUSE_FROM common_headers)
endfunction()

# callback_sources(SOURCES...): files of a room that derive from a class of the platform are compiled as the platform's
# libraries are, without type information and without exceptions: on a phone the class they derive from has none.
function(callback_sources)
  set(options -fno-exceptions)
  if(NOT SENSOR_CAL_SANITIZE)
    list(APPEND options -fno-rtti)
  endif()
  set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "${options}" SKIP_PRECOMPILE_HEADERS ON)
endfunction()
