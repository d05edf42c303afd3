zul_add_bench(zul_bench_log SOURCES ${CMAKE_CURRENT_LIST_DIR}/log_bench.cpp FAMILIES ras)
