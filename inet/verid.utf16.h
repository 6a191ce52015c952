// SPDX-License-Identifier: Apache-2.0
// Version identification.
#pragma once

#include "inet/api.h"

extern "C" {
/// Does nothing; a product finds by its name which library it has loaded.
VTINETLIB_API void libvtinetlib_print_verid();
/// The same.
VTINETLIB_API void libvtinetlib_sprintf_verid();
}
