file(GLOB _ras_tests CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/*_test.cpp)
zul_add_test(zul_test_ras
  SOURCES ${_ras_tests} ${CMAKE_CURRENT_LIST_DIR}/traced_c.c
  FAMILIES ras ONE_PER_PROCESS)
