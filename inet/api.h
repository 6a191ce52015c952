// SPDX-License-Identifier: Apache-2.0
// Marks what libvtinetlib.so exports; everything else is hidden.
#pragma once

/// Stands before each class and function that the library exports.
#define VTINETLIB_API __attribute__((visibility("default")))
/// A private member function of an exported class.
#define VTINETLIB_HIDDEN __attribute__((visibility("hidden")))
