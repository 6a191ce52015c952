# SPDX-License-Identifier: Apache-2.0
# Language, warnings and instrumentation for every target of the tree.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(THREADS_PREFER_PTHREAD_FLAG ON)
if(PROJECT_IS_TOP_LEVEL)  # the compiler and the kind of build of others are theirs to choose
  if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo)
  endif()
  add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
  include(CheckPIESupported)
  check_pie_supported(LANGUAGES CXX)
endif()
# Includes are written from the root of the tree.
include_directories(${PROJECT_SOURCE_DIR})

if(VTINETLIB_SANITIZE)
  add_compile_options(-fsanitize=${VTINETLIB_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  # With sanitizers g++ 12 gives this one falsely, in std::regex.
  add_compile_options(-Wno-maybe-uninitialized)
  add_link_options(-fsanitize=${VTINETLIB_SANITIZE})
endif()
if(VTINETLIB_COVERAGE)
  add_link_options(--coverage)  # host/ and inet/ are compiled for it
endif()

# Hardening of what is shipped; instrumented builds find more by themselves. Fortified functions
# need optimisation.
if(NOT VTINETLIB_SANITIZE AND NOT VTINETLIB_COVERAGE AND NOT VTINETLIB_FUZZERS)
  include(CheckCXXCompilerFlag)
  add_compile_options(-fstack-protector-strong -fstack-clash-protection -D_GLIBCXX_ASSERTIONS)
  set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
  add_compile_options("$<${optimised}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>")
  check_cxx_compiler_flag(-fcf-protection VTINETLIB_HAS_CF_PROTECTION)  # on x86
  if(VTINETLIB_HAS_CF_PROTECTION)
    add_compile_options(-fcf-protection)
  endif()
  add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
endif()
