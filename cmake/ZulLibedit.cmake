# zul_link_libedit(<target> <definition>)
# Links <target> with libedit and defines <definition>=1 for it when
# libedit is there, so that a prompt can edit lines and keep a history;
# without it the target reads plain lines, and the configure step says so.
function(zul_link_libedit target definition)
  find_package(PkgConfig QUIET)
  if(PkgConfig_FOUND)
    pkg_check_modules(LIBEDIT QUIET IMPORTED_TARGET libedit)
  endif()
  if(LIBEDIT_FOUND)
    target_link_libraries(${target} PRIVATE PkgConfig::LIBEDIT)
    target_compile_definitions(${target} PRIVATE ${definition}=1)
  else()
    message(STATUS "libedit not found: ${target} reads plain lines")
  endif()
endfunction()
