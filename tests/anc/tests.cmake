# Two modules built from one source meet through anchors: module 1 is
# linked into the test program, module 2 is loaded by it with dlopen.
set(_kind_1 SHARED)
set(_kind_2 MODULE)
foreach(id 1 2)
  math(EXPR peer "3 - ${id}")
  add_library(zul_anc_module_${id} ${_kind_${id}} ${CMAKE_CURRENT_LIST_DIR}/module.c)
  target_compile_definitions(zul_anc_module_${id} PRIVATE MODULE_ID=${id} MODULE_NAME="module.${id}"
    PEER_NAME="module.${peer}" MODULE_DATA=module_${id}_data MODULE_ENTRY=module_${id}_meet)
  target_link_libraries(zul_anc_module_${id} PRIVATE zul)
  set_target_properties(zul_anc_module_${id} PROPERTIES C_VISIBILITY_PRESET default)
endforeach()

zul_add_test(zul_test_anc SOURCES ${CMAKE_CURRENT_LIST_DIR}/anc_test.cpp ONE_PER_PROCESS)
target_link_libraries(zul_test_anc PRIVATE zul zul_anc_module_1 ${CMAKE_DL_LIBS})
target_compile_definitions(zul_test_anc PRIVATE ZUL_ANC_MODULE_2="$<TARGET_FILE:zul_anc_module_2>")
add_dependencies(zul_test_anc zul_anc_module_2)
