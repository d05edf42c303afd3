# Real signals are sent and taken in forked children of the tests; the
# probe loads the shared library into a program that has dispositions of
# its own, to show that loading alone changes none of them.
zul_add_probe(zul_sig_load_probe SOURCES ${CMAKE_CURRENT_LIST_DIR}/load_probe.c)
target_link_libraries(zul_sig_load_probe PRIVATE ${CMAKE_DL_LIBS})

file(GLOB _sig_tests CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/*_test.cpp)
zul_add_test(zul_test_sig SOURCES ${_sig_tests} FAMILIES sig)
target_compile_definitions(zul_test_sig PRIVATE
  ZUL_SIG_LOAD_PROBE="$<TARGET_FILE:zul_sig_load_probe>"
  ZUL_SHARED_LIBRARY="$<TARGET_FILE:zul>")
add_dependencies(zul_test_sig zul_sig_load_probe zul)
