# The scanner against GLib's GScanner (when glib is installed) on a text of
# command lines, as one text and line by line.
zul_add_bench(zul_bench_lex SOURCES ${CMAKE_CURRENT_LIST_DIR}/lex_bench.cpp
  FAMILIES lex)
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(ZUL_LEX_GLIB QUIET IMPORTED_TARGET glib-2.0)
endif()
if(ZUL_LEX_GLIB_FOUND)
  target_link_libraries(zul_bench_lex PRIVATE PkgConfig::ZUL_LEX_GLIB)
  target_compile_definitions(zul_bench_lex PRIVATE ZUL_BENCH_GSCANNER=1)
else()
  message(STATUS "glib-2.0 not found: the GScanner benchmarks are left out")
endif()
