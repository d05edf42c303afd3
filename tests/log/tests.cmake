zul_add_test(zul_test_log
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/store_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/class_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/info_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/class_names_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/exit_value_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/fork_test.cpp
  FAMILIES ras anc entry ONE_PER_PROCESS)

# Long lines from many threads: a probe writes to the default store's file.
zul_add_probe(zul_long_lines_probe SOURCES ${CMAKE_CURRENT_LIST_DIR}/long_lines_probe.cpp FAMILIES ras entry)
zul_add_test(zul_test_long_lines
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/long_lines_test.cpp
  FAMILIES ras anc entry)
target_compile_definitions(zul_test_long_lines PRIVATE
  ZUL_LONG_LINES_PROBE="$<TARGET_FILE:zul_long_lines_probe>")
add_dependencies(zul_test_long_lines zul_long_lines_probe)
