# The scanner, argument lists and parameter files.  Messages go through
# the format engine, whose units trace, so the trace family comes along.
zul_add_test(zul_test_lex
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/scanner_test.cpp
          ${CMAKE_CURRENT_LIST_DIR}/args_test.cpp
          ${CMAKE_CURRENT_LIST_DIR}/prm_test.cpp
  FAMILIES platform bss ras anc thb lex prm)
target_link_libraries(zul_test_lex PRIVATE GTest::gtest_main)
# Failed allocations come from allocators of the test's own.
target_link_options(zul_test_lex PRIVATE -Wl,--wrap=malloc -Wl,--wrap=calloc -Wl,--wrap=realloc)
