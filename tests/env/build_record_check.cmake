# Runs the build record generator twice with SOURCE_DATE_EPOCH set and
# checks that it gives the date of the epoch value, names neither user nor
# machine, and makes the same text both times; then checks that a
# definition with an unknown key stops with its file and line.
#   cmake -DGENERATOR=<ZulBuildRecord.cmake> -DWORK=<dir> -P build_record_check.cmake
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")
file(WRITE "${WORK}/rec.def" "# test record
component = tst
driver = tst-\${VERSION}
serial = 7;7
comment = first; with a semicolon
comment = [bracketed] \"quoted\" back\\\\slash
")

set(args -DZUL_BR_DEFINITION=${WORK}/rec.def -DZUL_BR_ROUTINE=tst_BuildInfo
  -DZUL_BR_VERSION=2.5 -DZUL_BR_HEADER=${WORK}/tst_BuildInfo.h)

foreach(run a b)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=86399 USER=someone
      ${CMAKE_COMMAND} ${args} -DZUL_BR_SOURCE=${WORK}/${run}.c -P ${GENERATOR}
    RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "generator failed: ${rc}")
  endif()
  file(READ "${WORK}/${run}.c" text_${run})
endforeach()
string(REPLACE "a.c" "b.c" text_a "${text_a}")
if(NOT text_a STREQUAL text_b)
  message(FATAL_ERROR "two runs with SOURCE_DATE_EPOCH differ")
endif()

foreach(expect
    "\"1970/01/01\", /* 0 date */"
    "\"23:59:59\", /* 1 time */"
    "\"\", /* 6 user */"
    "\"\", /* 10 machine */"
    "\"tst\", /* 15 component */"
    "\"7;7\", /* 16 serial */"
    "\"tst-2.5\", /* 17 driver */"
    "\"first; with a semicolon\","
    "\"[bracketed] \\\"quoted\\\" back\\\\\\\\slash\","
    "{18u, 2u, values, comments}")
  string(FIND "${text_b}" "${expect}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "missing from the record: ${expect}\n${text_b}")
  endif()
endforeach()

file(WRITE "${WORK}/bad.def" "component = x\nsreial = 1\n")
execute_process(
  COMMAND ${CMAKE_COMMAND} -DZUL_BR_DEFINITION=${WORK}/bad.def -DZUL_BR_ROUTINE=x
    -DZUL_BR_SOURCE=${WORK}/x.c -DZUL_BR_HEADER=${WORK}/x.h -P ${GENERATOR}
  RESULT_VARIABLE rc ERROR_VARIABLE err)
# CMake wraps a long error at word boundaries, and where it wraps depends on
# the length of the build path; compare with the whitespace folded.
string(REGEX REPLACE "[ \t\n]+" " " err "${err}")
if(rc EQUAL 0 OR NOT err MATCHES "bad.def:2: unknown key 'sreial'")
  message(FATAL_ERROR "an unknown key was not reported: ${rc} ${err}")
endif()
file(REMOVE_RECURSE "${WORK}")
