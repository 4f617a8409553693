# Read by CTest, with `program`, `emulator` and `time_limit` set: see suites.cmake.
cmake_path(GET program STEM name)
set(listing "")
set(status "not built")
if(EXISTS ${program})
  execute_process(COMMAND ${emulator} ${program} --gtest_list_tests
                  OUTPUT_VARIABLE listing RESULT_VARIABLE status TIMEOUT 120)
endif()
# Suites begin their lines, their tests are indented.
string(REGEX MATCHALL "(^|\n)[A-Za-z_][A-Za-z0-9_/]*\\." suites "${listing}")
if(NOT status EQUAL 0 OR NOT suites)
  add_test("${name} cannot be listed: ${status}" "${program}.cannot_be_listed")  # fails
endif()
foreach(suite ${suites})
  string(REGEX REPLACE "[\n.]" "" suite ${suite})
  add_test(${name}.${suite} ${emulator} ${program} "--gtest_filter=${suite}.*")
  set_tests_properties(${name}.${suite} PROPERTIES TIMEOUT ${time_limit})
endforeach()
