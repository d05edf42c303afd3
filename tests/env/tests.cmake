# The environment is read once per process, so its tests run a small
# probe program in a directory and environment that each test prepares.
zul_add_probe(zul_env_probe SOURCES ${CMAKE_CURRENT_LIST_DIR}/env_probe.c FAMILIES bss)

# The same, as a user's program: built on the shared library, whose load
# reads the environment files.
add_executable(zul_loaded_probe ${CMAKE_CURRENT_LIST_DIR}/loaded_probe.c)
target_link_libraries(zul_loaded_probe PRIVATE zul)

file(GLOB _env_tests CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/*_test.cpp)
zul_add_test(zul_test_env
  SOURCES ${_env_tests}
  FAMILIES bss ONE_PER_PROCESS)
target_compile_definitions(zul_test_env PRIVATE
  ZUL_ENV_PROBE="$<TARGET_FILE:zul_env_probe>" ZUL_LOADED_PROBE="$<TARGET_FILE:zul_loaded_probe>")
add_dependencies(zul_test_env zul_env_probe zul_loaded_probe)

# The generator of build records: reproducible with SOURCE_DATE_EPOCH, and
# strict about its definition file.
add_test(NAME BuildRecordGenerator.ReproducibleAndStrict
  COMMAND ${CMAKE_COMMAND} -DGENERATOR=${PROJECT_SOURCE_DIR}/cmake/ZulBuildRecord.cmake
          -DWORK=${CMAKE_CURRENT_BINARY_DIR}/build_record_check
          -P ${CMAKE_CURRENT_LIST_DIR}/build_record_check.cmake)
