# ZulBuildRecord.cmake - the build record of a link unit.
#
# Every separately linked library or program built on libzul carries one
# build record: when and where it was built, from which driver, with which
# component code.  Its units reach it through their `buildInfo` routine.
# This file makes that record from a small definition file, at build time:
#
#   include(ZulBuildRecord)          # found through find_package(zul)
#   zul_build_record(myserver
#       DEFINITION ${CMAKE_CURRENT_SOURCE_DIR}/myserver.def
#       ROUTINE    myserver_BuildInfo)
#
# adds to target `myserver` a generated source that defines the record and
#
#   void myserver_BuildInfo(ZULRA_build_t **build);
#
# with C linkage, and a header <myserver_BuildInfo.h> that declares it.  The
# source is C (.c) where the project has C enabled, else C++ (.cpp), so a
# project declared LANGUAGES CXX builds it too.  The function works in any
# directory of a project that pulled libzul in with find_package(zul) or
# with add_subdirectory.
# Units name the routine in their unit record:
#
#   RAS1_DECLARE_UNIT_EX("srvmain", RAS1_SERVER, "1.0", "SRV", myserver_BuildInfo);
#
# Arguments:
#   DEFINITION file   the definition file (required); see docs/build-records.md
#   ROUTINE name      the routine's name; default <target>_BuildInfo
#   VERSION text      replaces ${VERSION} in the definition; default PROJECT_VERSION
#   OUTPUT_DIR dir    where the source goes; default ${PROJECT_BINARY_DIR}/generated
#   ALWAYS            make the record anew at every build (the build date and
#                     time then say when the unit was last linked); by default
#                     it is made again when the definition file changes
#
# SOURCE_DATE_EPOCH, when set in the environment of the build, gives the
# build date and time, and the values that describe the building machine
# and user are left empty unless the definition gives them: two builds of
# the same sources then make the same record.
#
# Run as a script (cmake -P) this file is the generator itself.

cmake_minimum_required(VERSION 3.20)

# The keys of the definition file, by value index.
set(_ZUL_BUILD_KEYS
  date time generated environment target host user host_release host_version
  host_type machine host_machine host_environment target_environment
  sequence component serial driver)

if(NOT CMAKE_SCRIPT_MODE_FILE OR NOT CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)

function(zul_build_record target)
  cmake_parse_arguments(B "ALWAYS" "DEFINITION;ROUTINE;VERSION;OUTPUT_DIR" "" ${ARGN})
  if(NOT B_DEFINITION)
    message(FATAL_ERROR "zul_build_record(${target}): DEFINITION is required")
  endif()
  get_filename_component(B_DEFINITION "${B_DEFINITION}" ABSOLUTE)
  if(NOT B_ROUTINE)
    string(MAKE_C_IDENTIFIER "${target}_BuildInfo" B_ROUTINE)
  endif()
  if(NOT DEFINED B_VERSION)
    set(B_VERSION "${PROJECT_VERSION}")
  endif()
  if(B_VERSION STREQUAL "")
    # ${VERSION} in the definition would come out empty, making driver
    # names such as "mysrv-/0001.1".
    message(WARNING "zul_build_record(${target}): no version: give project() a VERSION "
      "or pass VERSION to zul_build_record, or \${VERSION} in the definition stays empty")
  endif()
  if(NOT B_OUTPUT_DIR)
    set(B_OUTPUT_DIR "${PROJECT_BINARY_DIR}/generated")
  endif()

  # The generator is this very file.  The path is taken from the function's
  # definition, not from a variable set when the file was included: such a
  # variable belongs to the directory that included it, and a project that
  # adds libzul with add_subdirectory calls this function from another.
  set(script "${CMAKE_CURRENT_FUNCTION_LIST_FILE}")

  # The record's text is both C and C++; it is compiled as whichever of the
  # two the calling directory has enabled, C first.  What counts is the
  # caller's scope: C enabled by libzul's own project() below a project of
  # C++ alone is not usable in the project's directories.
  if(CMAKE_C_COMPILER_LOADED)
    set(extension c)
  elseif(CMAKE_CXX_COMPILER_LOADED)
    set(extension cpp)
  else()
    message(FATAL_ERROR "zul_build_record(${target}): the project enables neither C nor CXX")
  endif()
  set(source "${B_OUTPUT_DIR}/${B_ROUTINE}.${extension}")
  set(header "${B_OUTPUT_DIR}/${B_ROUTINE}.h")

  # What the build machine looks like to CMake.  The generator reads the
  # user, the machine name and the date itself, at build time.
  if(CMAKE_C_COMPILER_LOADED)
    set(host_env "${CMAKE_C_COMPILER_ID}-${CMAKE_C_COMPILER_VERSION}")
  else()
    set(host_env "${CMAKE_CXX_COMPILER_ID}-${CMAKE_CXX_COMPILER_VERSION}")
  endif()
  set(target_env "${CMAKE_LIBRARY_ARCHITECTURE}")
  if(NOT target_env)
    set(target_env "${CMAKE_SYSTEM_PROCESSOR}-${CMAKE_SYSTEM_NAME}")
  endif()
  string(TOLOWER "${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}" target_dir)
  string(TOLOWER "${CMAKE_HOST_SYSTEM_NAME}-${CMAKE_HOST_SYSTEM_PROCESSOR}" host_dir)

  set(args
    -DZUL_BR_DEFINITION=${B_DEFINITION}
    -DZUL_BR_SOURCE=${source}
    -DZUL_BR_HEADER=${header}
    -DZUL_BR_ROUTINE=${B_ROUTINE}
    -DZUL_BR_VERSION=${B_VERSION}
    -DZUL_BR_TARGET_DIR=${target_dir}
    -DZUL_BR_HOST_DIR=${host_dir}
    -DZUL_BR_HOST_RELEASE=${CMAKE_HOST_SYSTEM_VERSION}
    -DZUL_BR_HOST_TYPE=${CMAKE_HOST_SYSTEM_NAME}
    -DZUL_BR_HOST_MACHINE=${CMAKE_HOST_SYSTEM_PROCESSOR}
    -DZUL_BR_HOST_ENV=${host_env}
    -DZUL_BR_TARGET_ENV=${target_env}
    -DZUL_BR_ALWAYS=${B_ALWAYS})

  set(depends "${B_DEFINITION}" "${script}")
  set(outputs "${source}" "${header}")
  if(B_ALWAYS)
    # An output that is never made keeps the command out of date; the
    # generator writes its real outputs only where they change.
    list(APPEND outputs "${B_OUTPUT_DIR}/${B_ROUTINE}.always")
    set_source_files_properties("${B_OUTPUT_DIR}/${B_ROUTINE}.always" PROPERTIES SYMBOLIC TRUE)
  endif()
  add_custom_command(
    OUTPUT ${outputs}
    COMMAND ${CMAKE_COMMAND} ${args} -P "${script}"
    DEPENDS ${depends}
    COMMENT "Making the build record of ${target}"
    VERBATIM)
  target_sources(${target} PRIVATE "${source}" "${header}")
  target_include_directories(${target} PRIVATE "${B_OUTPUT_DIR}")
endfunction()

else()

# ------------------------------------------------------------------------
# The generator.
# ------------------------------------------------------------------------

# A C string literal of `text`.
function(_zul_c_string out text)
  string(REPLACE "\\" "\\\\" text "${text}")
  string(REPLACE "\"" "\\\"" text "${text}")
  string(REPLACE "\t" "\\t" text "${text}")
  set(${out} "\"${text}\"" PARENT_SCOPE)
endfunction()

foreach(v DEFINITION SOURCE HEADER ROUTINE)
  if(NOT ZUL_BR_${v})
    message(FATAL_ERROR "build record generator: ZUL_BR_${v} is not set")
  endif()
endforeach()

# The file is split into lines by hand: characters that mean something in
# a CMake list (";" and brackets) are held as placeholders meanwhile.
file(READ "${ZUL_BR_DEFINITION}" text)
string(REPLACE ";" "@zul_br_semicolon@" text "${text}")
string(REPLACE "[" "@zul_br_open@" text "${text}")
string(REPLACE "]" "@zul_br_close@" text "${text}")
string(REPLACE "\r" "" text "${text}")
string(REPLACE "\n" ";" lines "${text}")
set(comments_c "")
set(comment_count 0)
set(line_no 0)
foreach(line IN LISTS lines)
  math(EXPR line_no "${line_no} + 1")
  string(REPLACE "@zul_br_semicolon@" ";" line "${line}")
  string(REPLACE "@zul_br_open@" "[" line "${line}")
  string(REPLACE "@zul_br_close@" "]" line "${line}")
  string(STRIP "${line}" stripped)
  if(stripped STREQUAL "" OR stripped MATCHES "^#")
    continue()
  endif()
  if(NOT stripped MATCHES "^([A-Za-z_]+)[ \t]*=(.*)$")
    message(FATAL_ERROR "${ZUL_BR_DEFINITION}:${line_no}: expected KEY = value")
  endif()
  string(TOLOWER "${CMAKE_MATCH_1}" key)
  string(STRIP "${CMAKE_MATCH_2}" value)
  string(REPLACE "\${VERSION}" "${ZUL_BR_VERSION}" value "${value}")
  if(key STREQUAL "comment")
    _zul_c_string(literal "${value}")
    string(APPEND comments_c "    ${literal},\n")
    math(EXPR comment_count "${comment_count} + 1")
  elseif(key IN_LIST _ZUL_BUILD_KEYS AND NOT key STREQUAL "date" AND NOT key STREQUAL "time")
    set(def_${key} "${value}")
    set(given_${key} 1)
  else()
    message(FATAL_ERROR "${ZUL_BR_DEFINITION}:${line_no}: unknown key '${CMAKE_MATCH_1}'")
  endif()
endforeach()

# The date and time of the build, in UTC; SOURCE_DATE_EPOCH, if set, is
# the moment that a reproducible build stands for.
if(DEFINED ENV{SOURCE_DATE_EPOCH} AND NOT "$ENV{SOURCE_DATE_EPOCH}" STREQUAL "")
  set(reproducible 1)
  if(NOT "$ENV{SOURCE_DATE_EPOCH}" MATCHES "^[0-9]+$")
    message(FATAL_ERROR "SOURCE_DATE_EPOCH must be a number of seconds")
  endif()
else()
  set(reproducible 0)
endif()
string(TIMESTAMP auto_date "%Y/%m/%d" UTC)
string(TIMESTAMP auto_time "%H:%M:%S" UTC)

get_filename_component(auto_generated "${ZUL_BR_SOURCE}" NAME)
set(auto_environment "")
set(auto_target "${ZUL_BR_TARGET_DIR}")
set(auto_host "${ZUL_BR_HOST_DIR}")
set(auto_host_type "${ZUL_BR_HOST_TYPE}")
set(auto_host_machine "${ZUL_BR_HOST_MACHINE}")
set(auto_host_environment "${ZUL_BR_HOST_ENV}")
set(auto_target_environment "${ZUL_BR_TARGET_ENV}")
set(auto_sequence "1")
set(auto_component "")
set(auto_serial "")
set(auto_driver "")
if(reproducible)
  # Nothing that names this machine or this user.
  set(auto_user "")
  set(auto_machine "")
  set(auto_host_release "")
  set(auto_host_version "")
else()
  set(auto_user "$ENV{USER}")
  if(auto_user STREQUAL "")
    set(auto_user "$ENV{LOGNAME}")
  endif()
  if(auto_user STREQUAL "")
    execute_process(COMMAND id -un OUTPUT_VARIABLE auto_user
      OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  endif()
  cmake_host_system_information(RESULT auto_machine QUERY HOSTNAME)
  set(auto_host_release "${ZUL_BR_HOST_RELEASE}")
  cmake_host_system_information(RESULT auto_host_version QUERY OS_VERSION)
endif()

set(values_c "")
set(index 0)
foreach(key IN LISTS _ZUL_BUILD_KEYS)
  if(given_${key})
    set(value "${def_${key}}")
  else()
    set(value "${auto_${key}}")
  endif()
  _zul_c_string(literal "${value}")
  string(APPEND values_c "    ${literal}, /* ${index} ${key} */\n")
  math(EXPR index "${index} + 1")
endforeach()

if(comment_count EQUAL 0)
  set(comments_c "    \"\"\n")
endif()

get_filename_component(header_name "${ZUL_BR_HEADER}" NAME)
get_filename_component(def_name "${ZUL_BR_DEFINITION}" NAME)
set(guard "${ZUL_BR_ROUTINE}_H")
string(TOUPPER "${guard}" guard)

set(header_text "/* Made from ${def_name}; do not edit. */
#ifndef ${guard}
#define ${guard}

#include <zul/ras1.h>

ZUL_BEGIN_DECLS

/* Stores the address of this link unit's build record in *build. */
void ${ZUL_BR_ROUTINE}(ZULRA_build_t **build);

ZUL_END_DECLS

#endif
")

set(source_text "/* The build record of a link unit, made from ${def_name}; do not edit. */
#include \"${header_name}\"

static const char *const values[18] = {
${values_c}};

static const char *const comments[] = {
${comments_c}};

static ZULRA_build_t record = {18u, ${comment_count}u, values, comments};

void ${ZUL_BR_ROUTINE}(ZULRA_build_t **build)
{
    *build = &record;
}
")

# Written only where the text changes, so that an unchanged record does
# not make the link unit build again.
foreach(pair "ZUL_BR_HEADER;header_text" "ZUL_BR_SOURCE;source_text")
  list(GET pair 0 path_var)
  list(GET pair 1 text_var)
  set(path "${${path_var}}")
  set(old "")
  if(EXISTS "${path}")
    file(READ "${path}" old)
  endif()
  if(NOT old STREQUAL "${${text_var}}")
    file(WRITE "${path}" "${${text_var}}")
  elseif(NOT ZUL_BR_ALWAYS)
    # Newer than the definition, so the command is not run again.
    file(TOUCH_NOCREATE "${path}")
  endif()
endforeach()

endif()
