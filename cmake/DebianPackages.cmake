# SPDX-License-Identifier: Apache-2.0
# Debian packages of what is installed, one for each component: "cmake --preset package", then
# cpack, makes them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has a description of its own
set(CPACK_PACKAGE_VENDOR "the authors of vtinetlib")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The authors of vtinetlib <packages@vtinetlib.example>")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/host
                                                ${PROJECT_BINARY_DIR}/inet)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# Ports are looked up by the names of their services.
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_DEPENDS netbase)

# vt_debian_package(COMPONENT PACKAGE SECTION TITLE line...): the lines are the description's.
macro(vt_debian_package component package section title)
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
  set(CPACK_COMPONENT_${key}_DESCRIPTION "${title}")
  foreach(line ${ARGN})
    string(APPEND CPACK_COMPONENT_${key}_DESCRIPTION "\n${line}")
  endforeach()
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/debian/copyright
                ${PROJECT_BINARY_DIR}/changelog.Debian.gz
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
endmacro()

execute_process(COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/packaging/debian/changelog
                OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.Debian.gz COMMAND_ERROR_IS_FATAL ANY)
vt_debian_package(
  libraries libvtinetlib${PROJECT_VERSION_MAJOR} libs "Internet mail for C++ programs"
  "Composes notification mails and delivers them by SMTP, fetches mail by"
  "POP3 and takes it apart. Wide text inside, octets on the wire.")
vt_debian_package(
  development libvtinetlib-dev libdevel "Internet mail for C++ programs, to build with"
  "Headers of libvtinetlib, and what CMake's find_package and pkg-config"
  "need to find it.")
vt_debian_package(
  vtmail vtmail mail "Send, fetch and look at Internet mail from a shell"
  "Delivers by SMTP, fetches by POP3, shows the parts of a mail, and runs a"
  "mail server on the loopback network to try programs on.")
set(CPACK_COMPONENTS_ALL libraries development vtmail)

include(CPack)
cpack_add_component(libraries)
cpack_add_component(development DEPENDS libraries)
cpack_add_component(vtmail DEPENDS libraries)
