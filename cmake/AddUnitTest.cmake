# vt_add_test(NAME SOURCES file... [LIBRARIES target...] [PRIVATE_NETWORK] [TORTURE])
#
# Builds one GoogleTest program and makes each of its cases a test of its own, with a time limit.
# It links the static libraries, so that it reaches what the shared object hides.
# PRIVATE_NETWORK: the program runs in a network of its own, where it may use ports 25 and 110.
# TORTURE: "./run torture" runs it too, with all of its inputs (tests/support/effort.h).
include(GoogleTest)

function(vt_add_test name)
  cmake_parse_arguments(ARG "PRIVATE_NETWORK;TORTURE" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} vt_test_support vtinetlib_static
                                        GTest::gmock)
  # Optimising a test takes longer than running it, but for those of large inputs.
  foreach(source IN LISTS ARG_SOURCES)
    if(NOT source MATCHES "large")
      set_property(SOURCE ${source} APPEND PROPERTY COMPILE_OPTIONS
                   $<$<NOT:$<CONFIG:Release>>:-O0>)
    endif()
  endforeach()
  if(ARG_PRIVATE_NETWORK)
    target_link_libraries(${name} PRIVATE vt_private_network_main)
  else()
    target_link_libraries(${name} PRIVATE GTest::gtest_main)
  endif()
  set(properties TIMEOUT 120)
  if(ARG_TORTURE)
    set(properties TIMEOUT 2400 LABELS torture)
  endif()
  gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_MODE PRE_TEST
                       PROPERTIES ${properties})
endfunction()
