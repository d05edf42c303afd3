zul_add_bench(zul_bench_crfsock SOURCES ${CMAKE_CURRENT_LIST_DIR}/crfsock_bench.cpp FAMILIES crf)
