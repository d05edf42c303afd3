# Two shared objects built from one source, each with names of its own,
# meet through anchors in the test program that links both.
foreach(id 1 2)
  math(EXPR peer "3 - ${id}")
  add_library(zul_anc_module_${id} SHARED ${CMAKE_CURRENT_LIST_DIR}/module.c)
  target_compile_definitions(zul_anc_module_${id} PRIVATE MODULE_ID=${id} MODULE_NAME="module.${id}"
    PEER_NAME="module.${peer}" MODULE_DATA=module_${id}_data MODULE_ENTRY=module_${id}_meet)
  target_link_libraries(zul_anc_module_${id} PRIVATE zul)
endforeach()

zul_add_test(zul_test_anc SOURCES ${CMAKE_CURRENT_LIST_DIR}/anc_test.cpp ONE_PER_PROCESS)
target_link_libraries(zul_test_anc PRIVATE zul zul_anc_module_1 zul_anc_module_2)
