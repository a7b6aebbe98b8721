# Run by CTest before it runs anything: one test per GoogleTest suite of the test binary, so the
# suite starts about two hundred processes instead of one per case (each start loads some 270
# shared libraries). A failing case is still named: GoogleTest prints it in the suite's output.
#
# Expects TAVRIN_TEST_BINARY and TAVRIN_TEST_TIMEOUT to be set by the including file.
if(NOT EXISTS "${TAVRIN_TEST_BINARY}")
  add_test(tavrin_tests_NOT_BUILT "${TAVRIN_TEST_BINARY}")
  return()
endif()
execute_process(
  COMMAND "${TAVRIN_TEST_BINARY}" --gtest_list_tests
  OUTPUT_VARIABLE listing
  RESULT_VARIABLE status
  TIMEOUT 120)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "listing the tests of ${TAVRIN_TEST_BINARY} failed (${status}):\n${listing}")
endif()
string(REPLACE "\n" ";" lines "${listing}")
foreach(line IN LISTS lines)
  # Suite lines start at the first column and end with a dot, possibly followed by a comment
  # naming the type parameter.
  if(line MATCHES "^([^ #][^ ]*)\\.( .*)?$")
    set(suite "${CMAKE_MATCH_1}")
    add_test("${suite}" "${TAVRIN_TEST_BINARY}" "--gtest_filter=${suite}.*" "--gtest_brief=1")
    set_tests_properties("${suite}" PROPERTIES TIMEOUT "${TAVRIN_TEST_TIMEOUT}")
  endif()
endforeach()
