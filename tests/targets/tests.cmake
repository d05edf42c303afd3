# The log's targets, shown with the real programs (jq, python3, journald,
# journalctl, logrotate) by the script targets.sh, one case a test.
zul_add_probe(zul_target_probe SOURCES ${CMAKE_CURRENT_LIST_DIR}/target_probe.c FAMILIES cmd entry)
foreach(case where json hostile lnav ldd journal logrotate hangup tail flush writer room)
  add_test(NAME LogTargets.${case}
    COMMAND ${CMAKE_CURRENT_LIST_DIR}/targets.sh ${case} $<TARGET_FILE:zul_target_probe>
      $<TARGET_FILE:zulctl> $<TARGET_FILE:zul>)
endforeach()
# A test skips (77) only where no journal can be had: none is running and
# systemd-journald is not installed, or cannot be started without root.
set_tests_properties(LogTargets.journal PROPERTIES SKIP_RETURN_CODE 77 RESOURCE_LOCK journald)
set_tests_properties(LogTargets.room PROPERTIES SKIP_RETURN_CODE 77)
set_tests_properties(LogTargets.tail PROPERTIES RESOURCE_LOCK journald)

# The journal reaches a central host: tools/journal-remote uploads a demo
# run's entries to systemd-journal-remote on 127.0.0.1 and finds its ERROR
# lines there.
if(TARGET zul_demo)
  add_test(NAME LogTargets.remote
    COMMAND ${PROJECT_SOURCE_DIR}/tools/journal-remote $<TARGET_FILE:zul_demo>)
  set_tests_properties(LogTargets.remote PROPERTIES SKIP_RETURN_CODE 77 RESOURCE_LOCK journald)
endif()
