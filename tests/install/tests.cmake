# The installed package works for another project (plain builds only: a
# consumer built without sanitizers cannot link a sanitized library).
if(NOT ZUL_SANITIZE)
  add_test(NAME Install.FindPackageAndPkgConfig
    COMMAND ${CMAKE_CURRENT_LIST_DIR}/check.sh ${PROJECT_BINARY_DIR} ${CMAKE_CURRENT_LIST_DIR})
  add_test(NAME Install.BuildRecordInConsumers
    COMMAND ${CMAKE_CURRENT_LIST_DIR}/record.sh ${PROJECT_BINARY_DIR} ${CMAKE_CURRENT_LIST_DIR}
            ${PROJECT_SOURCE_DIR})
endif()
