# Every public header must compile as C11 (and, through the C++ tests, as
# C++20).
add_library(zul_header_check_c OBJECT ${CMAKE_CURRENT_LIST_DIR}/headers_c.c)
target_include_directories(zul_header_check_c PRIVATE ${PROJECT_SOURCE_DIR}/include)
target_compile_options(zul_header_check_c PRIVATE -std=c11 -Wall -Wextra -Werror)

file(GLOB _core_tests CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/*_test.cpp)
zul_add_test(zul_test_core
  SOURCES ${_core_tests} $<TARGET_OBJECTS:zul_header_check_c>
  FAMILIES bss ras pfm ONE_PER_PROCESS)
# Mutexes made without memory are simulated by a calloc of the test's own.
target_link_options(zul_test_core PRIVATE -Wl,--wrap=calloc)
