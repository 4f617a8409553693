# add_suite_tests(PROGRAM SECONDS): a test of CTest for each suite of a test program,
# with a time limit of its own.
#
# The program is asked for its suites when CTest starts, in suites_of_program.cmake,
# so a program that is cross-built can be listed too, where it is run.
function(add_suite_tests program time_limit)
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${program}_suites.cmake)
  file(GENERATE OUTPUT ${script} CONTENT "\
set(program \"$<TARGET_FILE:${program}>\")
set(emulator \"${CMAKE_CROSSCOMPILING_EMULATOR}\")
set(time_limit ${time_limit})
include(\"${PROJECT_SOURCE_DIR}/tests/suites_of_program.cmake\")
")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${script})
endfunction()
