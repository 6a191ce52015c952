# SPDX-License-Identifier: Apache-2.0
# Makes Doxygen see what a header says of itself at its top, and nothing of what is internal.
1 s|.*|/// @file|
2,/^#pragma once/ {
  /^\/\/     / ! s|\\|\\\\|g
  s|^//|///|
}
/^\/\/ ==== internal/,$ s|.*||
/^\/\/ Internal to the/,$ s|.*||
