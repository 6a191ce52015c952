# SPDX-License-Identifier: Apache-2.0
# Manual pages and completion for shells, which vtmail writes itself.
include(ManualPages)

# vt_write_by_vtmail(FILE DEPENDENCY ARGUMENT...)
function(vt_write_by_vtmail file dependency)
  add_custom_command(OUTPUT ${file} COMMAND vtmail ${ARGN} > ${file} DEPENDS vtmail ${dependency})
endfunction()

file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/man ${PROJECT_BINARY_DIR}/completion)
set(descriptions)
foreach(page IN ITEMS vtmail.1 vtmail-settings.5)
  set(file ${PROJECT_BINARY_DIR}/man/${page})
  set(source ${PROJECT_SOURCE_DIR}/docs/man/${page}.in)
  vt_write_by_vtmail(${file} ${source} --print-manual ${source})
  list(APPEND descriptions ${file})
  if(VTINETLIB_INSTALL)
    vt_install_page(${file} vtmail)
  endif()
endforeach()

# vt_complete_in(SHELL FOLDER NAME): where the shell looks for it, below share.
function(vt_complete_in shell folder name)
  set(file ${PROJECT_BINARY_DIR}/completion/${shell}/${name})
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/completion/${shell})
  vt_write_by_vtmail(${file} "" --print-completion ${shell})
  set(descriptions ${descriptions} ${file} PARENT_SCOPE)
  if(VTINETLIB_INSTALL)
    install(FILES ${file} DESTINATION ${CMAKE_INSTALL_DATADIR}/${folder} COMPONENT vtmail)
  endif()
endfunction()
vt_complete_in(bash bash-completion/completions vtmail)
vt_complete_in(zsh zsh/vendor-completions _vtmail)
vt_complete_in(fish fish/vendor_completions.d vtmail.fish)

add_custom_target(vtmail_description ALL DEPENDS ${descriptions})
