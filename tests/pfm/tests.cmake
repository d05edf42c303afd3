# The C probe opens scopes with the C form of the macros and takes real
# faults in processes of its own; the tests run it once per mode.
zul_add_probe(zul_pfm_fault_probe SOURCES ${CMAKE_CURRENT_LIST_DIR}/fault_probe.c FAMILIES pfm)
zul_add_test(zul_test_pfm SOURCES ${CMAKE_CURRENT_LIST_DIR}/pfm_test.cpp FAMILIES pfm ONE_PER_PROCESS)
target_compile_definitions(zul_test_pfm PRIVATE ZUL_PFM_PROBE="$<TARGET_FILE:zul_pfm_fault_probe>")
add_dependencies(zul_test_pfm zul_pfm_fault_probe)
# A thread's first scope with its allocations failing from the Nth on.
zul_add_probe(zul_pfm_oom_probe SOURCES ${CMAKE_CURRENT_LIST_DIR}/oom_probe.c FAMILIES pfm)
target_link_options(zul_pfm_oom_probe PRIVATE -Wl,--wrap=malloc,--wrap=calloc,--wrap=realloc)
target_compile_definitions(zul_test_pfm PRIVATE ZUL_PFM_OOM_PROBE="$<TARGET_FILE:zul_pfm_oom_probe>")
add_dependencies(zul_test_pfm zul_pfm_oom_probe)
