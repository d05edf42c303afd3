zul_add_bench(zul_bench_ras SOURCES ${CMAKE_CURRENT_LIST_DIR}/ras_bench.cpp FAMILIES ras)
