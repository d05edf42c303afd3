zul_add_bench(zul_bench_ras SOURCES ${CMAKE_CURRENT_LIST_DIR}/ras_bench.cpp FAMILIES ras)
# The disabled-message pairs compile to the same instructions; functions
# and loops aligned alike keep their placement out of the comparison.
target_compile_options(zul_bench_ras PRIVATE -falign-functions=64 -falign-loops=64)
