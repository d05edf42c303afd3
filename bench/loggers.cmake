# An enabled line to a file through libzul's default store, beside
# spdlog's buffered file sink and its async logger (libspdlog-dev) and two
# floors that write to memory only, on 1, 2 and 4 threads.
zul_add_bench(zul_bench_loggers SOURCES ${CMAKE_CURRENT_LIST_DIR}/loggers_bench.cpp
  FAMILIES ras)
find_package(spdlog QUIET)
if(spdlog_FOUND)
  target_link_libraries(zul_bench_loggers PRIVATE spdlog::spdlog)
  target_compile_definitions(zul_bench_loggers PRIVATE ZUL_BENCH_SPDLOG=1)
endif()
# The same line with a tail of the log attached through the console
# socket, as `zulctl tail` attaches one.
zul_add_bench(zul_bench_loggers_tail SOURCES ${CMAKE_CURRENT_LIST_DIR}/loggers_bench.cpp
  FAMILIES cmd)
target_compile_definitions(zul_bench_loggers_tail PRIVATE ZUL_BENCH_TAIL=1)
