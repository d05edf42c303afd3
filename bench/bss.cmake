zul_add_bench(zul_bench_once SOURCES ${CMAKE_CURRENT_LIST_DIR}/once_bench.cpp FAMILIES bss)
zul_add_bench(zul_bench_lock SOURCES ${CMAKE_CURRENT_LIST_DIR}/lock_bench.cpp FAMILIES bss)
