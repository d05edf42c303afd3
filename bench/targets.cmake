# The log's targets: the journal against spdlog's systemd sink (where
# libspdlog-dev and libsystemd-dev are installed), JSON lines against the
# text file.
zul_add_bench(zul_bench_targets SOURCES ${CMAKE_CURRENT_LIST_DIR}/targets_bench.cpp
  FAMILIES ras entry)
find_package(spdlog QUIET)
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(LIBSYSTEMD QUIET IMPORTED_TARGET libsystemd)
endif()
if(spdlog_FOUND AND LIBSYSTEMD_FOUND)
  target_link_libraries(zul_bench_targets PRIVATE spdlog::spdlog PkgConfig::LIBSYSTEMD)
  target_compile_definitions(zul_bench_targets PRIVATE ZUL_BENCH_SPDLOG_SYSTEMD=1)
endif()
