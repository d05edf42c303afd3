zul_add_test(zul_test_thb
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/tree_test.cpp
  FAMILIES thb)
# Failed allocations come from a malloc of the test's own.
target_link_options(zul_test_thb PRIVATE -Wl,--wrap=malloc)
