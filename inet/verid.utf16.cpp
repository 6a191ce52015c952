// SPDX-License-Identifier: Apache-2.0
#include "inet/verid.utf16.h"

void libvtinetlib_print_verid() {}

void libvtinetlib_sprintf_verid() {}
