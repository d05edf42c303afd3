# The failure report is written by real failing children: a helper program
# linked with the shared library, built with debug information and frame
# pointers so that its own function and line can be found in the report.
add_executable(zul_wnt_child ${CMAKE_CURRENT_LIST_DIR}/wnt_child.cpp)
target_link_libraries(zul_wnt_child PRIVATE zul)
target_compile_options(zul_wnt_child PRIVATE -g -O0 -fno-omit-frame-pointer)

zul_add_test(zul_test_wnt SOURCES ${CMAKE_CURRENT_LIST_DIR}/report_test.cpp)
target_compile_definitions(zul_test_wnt PRIVATE ZUL_WNT_CHILD="$<TARGET_FILE:zul_wnt_child>")
add_dependencies(zul_test_wnt zul_wnt_child)
