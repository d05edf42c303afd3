# The installed package works for another project (plain builds only: a
# consumer built without sanitizers cannot link a sanitized library).
if(NOT ZUL_SANITIZE)
  add_test(NAME Install.FindPackageAndPkgConfig
    COMMAND ${CMAKE_CURRENT_LIST_DIR}/check.sh ${PROJECT_BINARY_DIR} ${CMAKE_CURRENT_LIST_DIR})
endif()
