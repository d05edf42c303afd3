# The console: registry, consoles, command lines and the bss1 command.
zul_add_test(zul_test_crf SOURCES ${CMAKE_CURRENT_LIST_DIR}/console_test.cpp
  FAMILIES crf ONE_PER_PROCESS)
# The console socket, from outside the process.
zul_add_test(zul_test_crfsock SOURCES ${CMAKE_CURRENT_LIST_DIR}/socket_test.cpp
  FAMILIES crf ONE_PER_PROCESS)
