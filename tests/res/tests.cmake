file(GLOB _res_tests CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/*_test.cpp)
list(FILTER _res_tests EXCLUDE REGEX "command_test\\.cpp$")
zul_add_test(zul_test_res
  SOURCES ${_res_tests}
  FAMILIES res)
# Failed allocations come from a malloc of the test's own.
target_link_options(zul_test_res PRIVATE -Wl,--wrap=malloc)

# The res1 command and RES1_DEBUG, through a console; the variable is read
# at the first use of the family, so each test needs a process of its own.
zul_add_test(zul_test_res_command
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/command_test.cpp
  FAMILIES res crf ONE_PER_PROCESS)
