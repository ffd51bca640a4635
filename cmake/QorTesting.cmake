# qor_add_test(<name> SOURCES ... [LIBRARIES ...] [LABELS ...] [ENVIRONMENT ...] [LOCKS ...]
#               [PROPERTIES ...])
# Builds one GoogleTest executable and registers each of its tests with CTest under the labels
# given (the suite's scope: unit, wire, interop, platform, e2e). LOCKS names the resources (such
# as ros_domain_100) that no other test may use at the same time. With QOR_TEST_WHOLE_PROGRAMS the
# executable is registered as one CTest test that runs all of its tests in one process. With
# QOR_TEST_LABELS, a program none of whose labels matches that expression is neither built nor
# registered.
function(qor_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES;LABELS;ENVIRONMENT;LOCKS;PROPERTIES" ${ARGN})
  if(NOT ARG_LABELS)
    set(ARG_LABELS unit)
  endif()
  set(registered TRUE)
  if(QOR_TEST_LABELS)
    set(registered FALSE)
    foreach(label IN LISTS ARG_LABELS)
      if(label MATCHES "${QOR_TEST_LABELS}")
        set(registered TRUE)
      endif()
    endforeach()
  endif()
  if(NOT registered)
    # Still a target, for the settings that follow it; built only when asked for by name.
    add_executable(${name} EXCLUDE_FROM_ALL ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} GTest::gtest GTest::gmock GTest::gtest_main)
    return()
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
  if(ARG_LOCKS)
    string(REPLACE ";" "\\;" locks "${ARG_LOCKS}")
    list(APPEND properties RESOURCE_LOCK "${locks}")
  endif()
  if(QOR_TEST_WHOLE_PROGRAMS)
    add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
    set_property(TEST ${name} PROPERTY LABELS ${ARG_LABELS})
    set_property(TEST ${name} PROPERTY ENVIRONMENT ${ARG_ENVIRONMENT})
    set_property(TEST ${name} PROPERTY RESOURCE_LOCK ${ARG_LOCKS})
    if(ARG_PROPERTIES)
      set_tests_properties(${name} PROPERTIES ${ARG_PROPERTIES})
    endif()
    # A per-test time limit is no limit for a whole program.
    set_property(TEST ${name} PROPERTY TIMEOUT 1800)
  else()
    gtest_discover_tests(${name}
      DISCOVERY_MODE PRE_TEST
      PROPERTIES ${properties} ${ARG_PROPERTIES})
  endif()
endfunction()
