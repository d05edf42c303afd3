zul_add_test(zul_test_log
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/store_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/class_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/info_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/exit_value_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/fork_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/long_lines_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/kind_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ring_test.cpp
  FAMILIES ras anc entry ONE_PER_PROCESS)

# A line put together flat against the same line through records, in the
# store and in the capture ring, which `ras1 log` shows.
zul_add_test(zul_test_log_flat SOURCES ${CMAKE_CURRENT_LIST_DIR}/flat_test.cpp
  FAMILIES cmd entry ONE_PER_PROCESS)

# The compiler's format check of the log calls: format_check.c compiles
# with warnings as errors as C and as C++, and each of its wrong calls
# stops the compile with a format error.
foreach(lang C CXX)
  if(lang STREQUAL C)
    set(_check ${CMAKE_C_COMPILER} -std=c11)
  else()
    set(_check ${CMAKE_CXX_COMPILER} -x c++ -std=c++20)
  endif()
  list(APPEND _check -fsyntax-only -Wall -Wextra -Werror -I${PROJECT_SOURCE_DIR}/include
       ${CMAKE_CURRENT_LIST_DIR}/format_check.c)
  add_test(NAME FormatCheck.${lang}.RightCallsCompile COMMAND ${_check})
  foreach(wrong 1 2 3 4)
    add_test(NAME FormatCheck.${lang}.WrongCall${wrong}DoesNotCompile COMMAND ${_check} -DZUL_WRONG=${wrong})
    set_tests_properties(FormatCheck.${lang}.WrongCall${wrong}DoesNotCompile PROPERTIES
      PASS_REGULAR_EXPRESSION "-Werror[=,](-W)?format")
  endforeach()
endforeach()

# Nothing the buffered log holds is lost when a process ends: the probe,
# linked with the shared library as a program would be, writes numbered
# lines and dies in one of the ways a server dies.
add_executable(zul_ending_probe ${CMAKE_CURRENT_LIST_DIR}/ending_probe.cpp)
target_link_libraries(zul_ending_probe PRIVATE zul)
zul_add_test(zul_test_ending SOURCES ${CMAKE_CURRENT_LIST_DIR}/ending_test.cpp)
target_compile_definitions(zul_test_ending PRIVATE ZUL_ENDING_PROBE="$<TARGET_FILE:zul_ending_probe>")
add_dependencies(zul_test_ending zul_ending_probe)
