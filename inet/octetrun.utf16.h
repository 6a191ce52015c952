// SPDX-License-Identifier: Apache-2.0
// How far one step of a transfer encoding went. Internal to transferstream.
#pragma once

#include <cstddef>

/// Units: octets.
struct OctetRun {
    std::size_t taken;  // of what there is to read
    std::size_t given;  // to the reader
};
