# A trace point disabled and enabled, beside spdlog and LTTng-UST where
# they are installed (libspdlog-dev, liblttng-ust-dev).
zul_add_bench(zul_bench_trace SOURCES ${CMAKE_CURRENT_LIST_DIR}/trace_bench.cpp
  FAMILIES ras)
find_package(spdlog QUIET)
if(spdlog_FOUND)
  target_link_libraries(zul_bench_trace PRIVATE spdlog::spdlog)
  target_compile_definitions(zul_bench_trace PRIVATE ZUL_BENCH_SPDLOG=1)
endif()
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(LTTNG_UST QUIET IMPORTED_TARGET lttng-ust)
endif()
if(LTTNG_UST_FOUND)
  target_sources(zul_bench_trace PRIVATE ${CMAKE_CURRENT_LIST_DIR}/trace_bench_tp.c)
  target_include_directories(zul_bench_trace PRIVATE ${CMAKE_CURRENT_LIST_DIR})
  target_link_libraries(zul_bench_trace PRIVATE PkgConfig::LTTNG_UST ${CMAKE_DL_LIBS})
  target_compile_definitions(zul_bench_trace PRIVATE ZUL_BENCH_LTTNG=1)
endif()
# The same enabled pair with the lines going to /dev/null: the library's
# own cost without the disk's.
zul_add_bench(zul_bench_trace_null SOURCES ${CMAKE_CURRENT_LIST_DIR}/trace_bench.cpp
  FAMILIES ras)
target_compile_definitions(zul_bench_trace_null PRIVATE ZUL_BENCH_TO_NULL=1)
