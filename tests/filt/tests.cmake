# The probe: a small traced program that starts the trace in a process
# of its own, with the environment that each test gives it.
add_executable(zul_filt_probe ${CMAKE_CURRENT_LIST_DIR}/filt_probe.c)
foreach(fam platform bss ras anc thb wnt)
  target_sources(zul_filt_probe PRIVATE $<TARGET_OBJECTS:zul_${fam}>)
endforeach()
target_include_directories(zul_filt_probe PRIVATE ${PROJECT_SOURCE_DIR}/include)
target_link_libraries(zul_filt_probe PRIVATE Threads::Threads)
set_target_properties(zul_filt_probe PROPERTIES LINKER_LANGUAGE CXX)

zul_add_test(zul_test_filt
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/filter_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/start_test.cpp
  FAMILIES platform bss ras anc thb wnt)
target_link_libraries(zul_test_filt PRIVATE GTest::gtest_main)
target_compile_definitions(zul_test_filt PRIVATE
  ZUL_FILT_PROBE="$<TARGET_FILE:zul_filt_probe>")
add_dependencies(zul_test_filt zul_filt_probe)
