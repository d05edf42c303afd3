# The README's test command, on a small project of its own: it builds what
# it runs, also in a tree configured without the test suite.
add_test(NAME Tools.TestCommandBuildsWhatItRuns
  COMMAND bash ${CMAKE_CURRENT_LIST_DIR}/test_command.sh ${PROJECT_SOURCE_DIR}/tools/test)
