# The ras1 console command, and the demo's console host.
zul_add_test(zul_test_crf_ras1 SOURCES ${CMAKE_CURRENT_LIST_DIR}/ras1_command_test.cpp
  FAMILIES cmd ONE_PER_PROCESS)
if(TARGET zul_demo)
  target_compile_definitions(zul_test_crf_ras1 PRIVATE ZUL_DEMO="$<TARGET_FILE:zul_demo>")
  add_dependencies(zul_test_crf_ras1 zul_demo)
else()
  target_compile_definitions(zul_test_crf_ras1 PRIVATE ZUL_DEMO="false")
endif()
