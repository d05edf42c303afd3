zul_add_test(zul_test_fmt
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/format_test.cpp
          ${CMAKE_CURRENT_LIST_DIR}/text_test.cpp
  FAMILIES bss anc)
# Failed allocations are simulated by a malloc of the test's own.
target_link_options(zul_test_fmt PRIVATE -Wl,--wrap=malloc)
