# zulctl as a shell meets it: its options and their statuses, its manual
# page, where it is installed, and its bash completion in a real bash,
# against the demo with its console open.
if(TARGET zul_demo)
  add_test(NAME Zulctl.OptionsManualAndCompletion
    COMMAND bash ${CMAKE_CURRENT_LIST_DIR}/cli_test.sh $<TARGET_FILE:zulctl> $<TARGET_FILE:zul_demo>
            ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR})
endif()
