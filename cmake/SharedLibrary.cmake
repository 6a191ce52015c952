# SPDX-License-Identifier: Apache-2.0
# vt_share(TARGET [property value...])
#
# What a shared library of ours is to those who link it: headers, C++20, a version in its name, and
# no more names than those in the file TARGET.map beside its sources.
#
# vt_install(TARGET FOLDER header...)
#
# Installs it, and its headers so that includes are spelt as in the tree ("host/host.h").

# Headers have a folder of their own: host/ and inet/ are nobody's in /usr/include.
set(vt_header_folder ${CMAKE_INSTALL_INCLUDEDIR}/vtinetlib)

function(vt_share target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
                                              $<INSTALL_INTERFACE:${vt_header_folder}>)
  set(map ${CMAKE_CURRENT_SOURCE_DIR}/${target}.map)
  target_link_options(${target} PRIVATE -Wl,--version-script=${map})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})
  # Wherever an installed tree is moved to, its libraries find each other.
  set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION}
                        SOVERSION ${PROJECT_VERSION_MAJOR} INSTALL_RPATH "$ORIGIN" ${ARGN})
endfunction()

function(vt_install target folder)
  if(NOT VTINETLIB_INSTALL)
    return()
  endif()
  install(TARGETS ${target} EXPORT vtinetlibTargets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libraries
                  NAMELINK_COMPONENT development)
  install(FILES ${ARGN} DESTINATION ${vt_header_folder}/${folder} COMPONENT development)
endfunction()
