# qor_add_test(<name> SOURCES ... [LIBRARIES ...] [LABELS ...] [ENVIRONMENT ...])
# Builds one GoogleTest executable and registers each of its tests with CTest under the labels
# given (the suite's scope: unit, wire, interop, platform, e2e).
function(qor_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES;LABELS;ENVIRONMENT;PROPERTIES" ${ARGN})
  if(NOT ARG_LABELS)
    set(ARG_LABELS unit)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} GTest::gtest GTest::gmock GTest::gtest_main)
  qor_set_warnings(${name})
  set(properties LABELS "${ARG_LABELS}")
  if(ARG_ENVIRONMENT)
    # Several variables form one property value: keep them together.
    string(REPLACE ";" "\\;" environment "${ARG_ENVIRONMENT}")
    list(APPEND properties ENVIRONMENT "${environment}")
  endif()
  gtest_discover_tests(${name}
    DISCOVERY_MODE PRE_TEST
    PROPERTIES ${properties} ${ARG_PROPERTIES})
endfunction()
