# SPDX-License-Identifier: Apache-2.0
# By what other projects find the installed libraries: find_package(vtinetlib) and pkg-config.
# Both work out from where they lie where the rest is, so that an installed tree can be moved.
include(CMakePackageConfigHelpers)

foreach(folder IN ITEMS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
  if(IS_ABSOLUTE "${${folder}}")
    message(FATAL_ERROR "${folder} is ${${folder}}: name it relative to CMAKE_INSTALL_PREFIX, so "
                        "that the installed tree can be moved.")
  endif()
endforeach()

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/vtinetlib)
install(EXPORT vtinetlibTargets NAMESPACE vtinetlib:: DESTINATION ${package_folder}
        COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vtinetlibConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vtinetlibConfigVersion.cmake
              ${PROJECT_SOURCE_DIR}/cmake/vtinetlibConfig.cmake
        DESTINATION ${package_folder} COMPONENT development)

file(RELATIVE_PATH prefix_from_pkgconfig ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
     ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig "${prefix_from_pkgconfig}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/vtinetlib.pc.in ${PROJECT_BINARY_DIR}/vtinetlib.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vtinetlib.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)

# The page of the library shows an example that is built and run. In manual pages a backslash and
# a hyphen are not themselves.
include(ManualPages)
file(READ ${PROJECT_SOURCE_DIR}/examples/send_mail.cpp EXAMPLE)
string(REGEX REPLACE "^//[^\n]*\n" "" EXAMPLE "${EXAMPLE}")  # its licence
string(REPLACE "\\" "\\e" EXAMPLE "${EXAMPLE}")
string(REPLACE "-" "\\-" EXAMPLE "${EXAMPLE}")
configure_file(${PROJECT_SOURCE_DIR}/docs/man/libvtinetlib.3.in
               ${PROJECT_BINARY_DIR}/man/libvtinetlib.3 @ONLY)
vt_install_page(${PROJECT_BINARY_DIR}/man/libvtinetlib.3 development)
