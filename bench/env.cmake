zul_add_bench(zul_bench_env SOURCES ${CMAKE_CURRENT_LIST_DIR}/env_bench.cpp FAMILIES bss)
