zul_add_bench(zul_bench_fmt SOURCES ${CMAKE_CURRENT_LIST_DIR}/fmt_bench.cpp FAMILIES bss)
