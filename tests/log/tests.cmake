zul_add_test(zul_test_log
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/store_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/class_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/info_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/exit_value_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/fork_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/long_lines_test.cpp
  FAMILIES ras anc entry ONE_PER_PROCESS)
