# A protected scope's entry and normal end, in C and in C++, beside the
# jump states a program would use instead (_setjmp, setjmp, sigsetjmp
# saving the mask) and a C++ try block that does not throw; and a SIGSEGV
# taken in a scope and back at its entry.
zul_add_bench(zul_bench_pfm SOURCES ${CMAKE_CURRENT_LIST_DIR}/pfm_bench.cpp
  ${CMAKE_CURRENT_LIST_DIR}/pfm_bench_c.c FAMILIES pfm)
