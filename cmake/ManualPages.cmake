# SPDX-License-Identifier: Apache-2.0
# vt_install_page(FILE COMPONENT)
#
# Installs a page that is in the build folder when that is built. In Debian packages they are
# compressed.
function(vt_install_page file component)
  get_filename_component(name ${file} NAME)
  string(REGEX MATCH "[1-9]$" section ${name})
  set(installed ${file})
  if(VTINETLIB_DEBIAN_PACKAGES)
    set(installed ${file}.gz)
    add_custom_command(OUTPUT ${installed} COMMAND gzip -9nc ${file} > ${installed} DEPENDS ${file})
    add_custom_target(compressed.${name} ALL DEPENDS ${installed})
  endif()
  install(FILES ${installed} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section}
          COMPONENT ${component})
endfunction()
