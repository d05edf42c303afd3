# The environment is read once per process, so its tests run a small
# probe program in a directory and environment that each test prepares.
add_executable(zul_env_probe ${CMAKE_CURRENT_LIST_DIR}/env_probe.c)
foreach(fam platform bss ras thb)
  target_sources(zul_env_probe PRIVATE $<TARGET_OBJECTS:zul_${fam}>)
endforeach()
target_include_directories(zul_env_probe PRIVATE ${PROJECT_SOURCE_DIR}/include)
target_link_libraries(zul_env_probe PRIVATE Threads::Threads)
set_target_properties(zul_env_probe PROPERTIES LINKER_LANGUAGE CXX)

file(GLOB _env_tests CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/*_test.cpp)
zul_add_test(zul_test_env
  SOURCES ${_env_tests}
  FAMILIES platform bss ras thb)
target_link_libraries(zul_test_env PRIVATE GTest::gtest_main)
target_compile_definitions(zul_test_env PRIVATE
  ZUL_ENV_PROBE="$<TARGET_FILE:zul_env_probe>")
add_dependencies(zul_test_env zul_env_probe)

# The generator of build records: reproducible with SOURCE_DATE_EPOCH, and
# strict about its definition file.
add_test(NAME BuildRecordGenerator.ReproducibleAndStrict
  COMMAND ${CMAKE_COMMAND} -DGENERATOR=${PROJECT_SOURCE_DIR}/cmake/ZulBuildRecord.cmake
          -DWORK=${CMAKE_CURRENT_BINARY_DIR}/build_record_check
          -P ${CMAKE_CURRENT_LIST_DIR}/build_record_check.cmake)
