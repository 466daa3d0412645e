# Run after a test program is built: writes LIST, which tells ctest of the suites of PROGRAM. A suite is one entry, since the
# start of a process costs more than most tests; of a suite with parameters each test is one, since these take their time. A
# filter that fits nothing fails. Some of them wait for seconds: they begin before what only works.
#   cmake -D PROGRAM=FILE -D EMULATOR=WORDS|... -D LIST=FILE -P list_suites.cmake
string(REPLACE "|" ";" command "${EMULATOR}")
list(APPEND command ${PROGRAM})
execute_process(COMMAND ${command} --gtest_list_tests OUTPUT_VARIABLE out COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE ";" "," out "${out}")
string(REPLACE "\n" ";" lines "${out}")
list(JOIN command "\" \"" words)
set(text)
set(suite)
set(cost 10)
if(PROGRAM MATCHES "/(plan|recording)_test$")
  set(cost 30)
endif()
function(entry name filter)
  string(APPEND text "add_test([=[${name}]=] \"${words}\" \"--gtest_filter=${filter}\")\n"
                     "set_tests_properties([=[${name}]=] PROPERTIES TIMEOUT 300 COST ${cost} FAIL_REGULAR_EXPRESSION \"Running 0 tests\")\n")
  set(text "${text}" PARENT_SCOPE)
endfunction()
foreach(line IN LISTS lines)
  if(line MATCHES "^([A-Za-z0-9_/]+)\\.")
    set(suite ${CMAKE_MATCH_1})
    if(NOT suite MATCHES "/")
      entry(${suite} "${suite}.*")
    endif()
  elseif(suite MATCHES "/" AND line MATCHES "^  ([A-Za-z0-9_/]+)")  # the last match is the one that is read
    entry(${suite}.${CMAKE_MATCH_1} "${suite}.${CMAKE_MATCH_1}")
  endif()
endforeach()
file(WRITE ${LIST} "${text}")
