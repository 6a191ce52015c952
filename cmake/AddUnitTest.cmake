# SPDX-License-Identifier: Apache-2.0
# vt_add_test(NAME SOURCES file... [LIBRARIES target...] [PRIVATE_NETWORK] [TORTURE])
#
# Builds one GoogleTest program and makes each of its cases a test of its own, with a time limit.
# It links the static libraries, so that it reaches what the shared object hides.
# PRIVATE_NETWORK: the program runs in a network of its own, where it may use ports 25 and 110.
# TORTURE: "./run torture" runs it too, with all of its inputs (tests/support/effort.h).
#
# vt_add_test_program(NAME [PROPERTIES property value...])
#
# The same for a program that exists: how it is compiled, and how ctest runs it.
include(GoogleTest)

function(vt_add_test name)
  cmake_parse_arguments(ARG "PRIVATE_NETWORK;TORTURE" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} vt_test_support vtinetlib_static
                                        GTest::gmock)
  if(ARG_PRIVATE_NETWORK)
    target_link_libraries(${name} PRIVATE vt_private_network_main)
  else()
    target_link_libraries(${name} PRIVATE GTest::gtest_main)
  endif()
  set(properties)
  if(ARG_TORTURE)
    set(properties PROPERTIES TIMEOUT 2400 LABELS torture)
  endif()
  vt_add_test_program(${name} ${properties})
endfunction()

function(vt_add_test_program name)
  cmake_parse_arguments(ARG "" "" "PROPERTIES" ${ARGN})
  if(VTINETLIB_PRECOMPILE)
    target_precompile_headers(${name} REUSE_FROM vt_precompiled)
  endif()
  get_target_property(sources ${name} SOURCES)
  foreach(source IN LISTS sources)
    if(source MATCHES "large|substitutions")  # what runs for long
      set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS -O2
                                                       SKIP_PRECOMPILE_HEADERS ON)
    endif()
  endforeach()
  if(VTINETLIB_WHOLE_TEST_PROGRAMS)
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 600 ${ARG_PROPERTIES})
  else()
    gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_MODE PRE_TEST
                         PROPERTIES TIMEOUT 120 ${ARG_PROPERTIES})
  endif()
endfunction()
