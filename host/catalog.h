// SPDX-License-Identifier: Apache-2.0
// The message catalog: texts for people, by number.
#pragma once

#include "host/api.h"

/// Format text of message `id`, zero-terminated, valid for ever; null when there is none.
/// 25968 to 25977 explain a failed network operation; 25977 takes the error number ("%d").
VTHOST_API const char16_t* CatalogMessage(unsigned int id);
