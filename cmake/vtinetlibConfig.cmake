# SPDX-License-Identifier: Apache-2.0
# find_package(vtinetlib 1 CONFIG) gives vtinetlib::vtinetlib and, below it, vtinetlib::host.
# Neither shows anything of ICU to those who link it.
include(${CMAKE_CURRENT_LIST_DIR}/vtinetlibTargets.cmake)
