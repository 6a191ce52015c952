// SPDX-License-Identifier: Apache-2.0
// Marks what libvthost.so exports; everything else is hidden.
#pragma once

#define VTHOST_API __attribute__((visibility("default")))
