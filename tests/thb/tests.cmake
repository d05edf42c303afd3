zul_add_test(zul_test_thb
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/tree_test.cpp
  FAMILIES thb)
