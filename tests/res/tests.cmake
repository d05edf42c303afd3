file(GLOB _res_tests CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/*_test.cpp)
zul_add_test(zul_test_res
  SOURCES ${_res_tests}
  FAMILIES res)
# Failed allocations come from a malloc of the test's own.
target_link_options(zul_test_res PRIVATE -Wl,--wrap=malloc)

# The res1 command and RES1_DEBUG, which is read at the first use of the
# family: one process for each test.
zul_add_test(zul_test_res1 SOURCES ${CMAKE_CURRENT_LIST_DIR}/res1_command.cpp FAMILIES cmd ONE_PER_PROCESS)
