# RES1_Use + RES1_Drop beside a recursive mutex pair and a shared_ptr copy.
zul_add_bench(zul_bench_res SOURCES ${CMAKE_CURRENT_LIST_DIR}/res_bench.cpp FAMILIES res)
