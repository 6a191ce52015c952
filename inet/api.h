// SPDX-License-Identifier: Apache-2.0
// Marks what libvtinetlib.so exports; everything else is hidden.
#pragma once

#define VTINETLIB_API __attribute__((visibility("default")))
