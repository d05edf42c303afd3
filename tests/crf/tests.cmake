# The console: registry, consoles, command lines and the bss1 command.
zul_add_test(zul_test_crf SOURCES ${CMAKE_CURRENT_LIST_DIR}/console_test.cpp
  FAMILIES cmd ONE_PER_PROCESS)
# The console socket, from outside the process.
zul_add_test(zul_test_crfsock SOURCES ${CMAKE_CURRENT_LIST_DIR}/socket_test.cpp
  FAMILIES crf ONE_PER_PROCESS)
if(TARGET zul_demo)
  target_compile_definitions(zul_test_crfsock PRIVATE ZUL_DEMO_PATH="$<TARGET_FILE:zul_demo>"
    ZULCTL_PATH="$<TARGET_FILE:zulctl>")
  add_dependencies(zul_test_crfsock zul_demo zulctl)
endif()
# The library's traced functions: their units and kinds as operators see them.
zul_add_test(zul_test_units SOURCES ${CMAKE_CURRENT_LIST_DIR}/units_test.cpp
  FAMILIES crf sig ONE_PER_PROCESS)
# A program with its console socket open, linked with the shared library
# as a real program is, so that a fault on the server's thread meets the
# failure report; the server tests drive it from outside.
add_executable(zul_crf_sock_probe ${CMAKE_CURRENT_LIST_DIR}/sock_probe.c)
target_link_libraries(zul_crf_sock_probe PRIVATE zul)
zul_add_test(zul_test_crfserver SOURCES ${CMAKE_CURRENT_LIST_DIR}/server_test.cpp)
target_compile_definitions(zul_test_crfserver PRIVATE ZUL_SOCK_PROBE="$<TARGET_FILE:zul_crf_sock_probe>"
  ZULCTL_PATH="$<TARGET_FILE:zulctl>")
add_dependencies(zul_test_crfserver zul_crf_sock_probe zulctl)
