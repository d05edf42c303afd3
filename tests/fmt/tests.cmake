zul_add_test(zul_test_fmt
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/format_test.cpp
          ${CMAKE_CURRENT_LIST_DIR}/text_test.cpp
  FAMILIES bss anc)
