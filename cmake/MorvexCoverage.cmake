# The target coverage-report: a table of the lines that the tests reached, from what their last run recorded.

find_program(GCOVR gcovr)
if(GCOVR)
  add_custom_target(coverage-report
    COMMAND ${GCOVR} --root ${PROJECT_SOURCE_DIR} --filter interfaces/ --filter libs/ --exclude-throw-branches
      --html-details ${PROJECT_BINARY_DIR}/coverage.html --txt - ${PROJECT_BINARY_DIR}
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    VERBATIM)
endif()
