// SPDX-License-Identifier: Apache-2.0
// Numbers in wide text.
#pragma once

#include "host/api.h"

/// strtoul for wide text: white space, a sign, an optional 0x or 0 prefix for base 16, 8 or 0,
/// digits. `end`, when not null, receives where it stopped (`text` itself when there was no
/// number). Out of range gives ULONG_MAX and sets errno to ERANGE; a base outside 0 and 2 to 36
/// gives 0 and sets errno to EINVAL. Requires: `text` is zero-terminated and not null.
VTHOST_API unsigned long _tcstoul(const unsigned short* text, unsigned short** end, int base);
/// The same for a u"..." literal.
VTHOST_API unsigned long _tcstoul(const char16_t* text, char16_t** end, int base);
