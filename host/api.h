// SPDX-License-Identifier: Apache-2.0
// Marks what libvthost.so exports; everything else is hidden.
#pragma once

/// Stands before each class and function that the library exports.
#define VTHOST_API __attribute__((visibility("default")))
