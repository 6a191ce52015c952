# Language, warnings and instrumentation for every target of the tree.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(THREADS_PREFER_PTHREAD_FLAG ON)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
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
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
