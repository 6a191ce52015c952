// SPDX-License-Identifier: Apache-2.0
// Version identification.
#pragma once

#include "inet/api.h"

extern "C" {
/// Do nothing; a product finds by these names which library it has loaded.
VTINETLIB_API void libvtinetlib_print_verid();
VTINETLIB_API void libvtinetlib_sprintf_verid();
}
