# The scanner, argument lists and parameter files.
zul_add_test(zul_test_lex SOURCES ${CMAKE_CURRENT_LIST_DIR}/lex_test.cpp FAMILIES lex prm)
# Failed allocations come from allocators of the test's own.
target_link_options(zul_test_lex PRIVATE -Wl,--wrap=malloc -Wl,--wrap=calloc -Wl,--wrap=realloc)
