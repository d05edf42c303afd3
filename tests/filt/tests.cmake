# The probe: a small traced program that starts the trace in a process
# of its own, with the environment that each test gives it.
zul_add_probe(zul_filt_probe SOURCES ${CMAKE_CURRENT_LIST_DIR}/filt_probe.c FAMILIES ras entry)

zul_add_test(zul_test_filt
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/filter_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/start_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/inclusion_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/early_filter_test.cpp
  FAMILIES ras entry ONE_PER_PROCESS)
target_compile_definitions(zul_test_filt PRIVATE
  ZUL_FILT_PROBE="$<TARGET_FILE:zul_filt_probe>")
add_dependencies(zul_test_filt zul_filt_probe)
