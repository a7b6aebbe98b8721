# Run at every build: writes the commit the sources are at into OUTPUT, touching the file only
# when the commit changed so that nothing recompiles needlessly. Expects SOURCE_DIR and OUTPUT.
execute_process(
  COMMAND git -C "${SOURCE_DIR}" describe --always --dirty --abbrev=12
  OUTPUT_VARIABLE commit
  OUTPUT_STRIP_TRAILING_WHITESPACE
  ERROR_QUIET
  RESULT_VARIABLE status)
if(NOT status EQUAL 0 OR commit STREQUAL "")
  set(commit "unknown")
endif()
set(text "// Written at build time by cmake/BuildCommit.cmake.\n#pragma once\n#define TAVRIN_COMMIT \"${commit}\"\n")
if(EXISTS "${OUTPUT}")
  file(READ "${OUTPUT}" old)
endif()
if(NOT old STREQUAL text)
  file(WRITE "${OUTPUT}" "${text}")
endif()
