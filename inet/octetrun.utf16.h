// SPDX-License-Identifier: Apache-2.0
// How far one step of a transfer encoding went. Internal to transferstream.
//
// Units: octets. Nothing here fails or throws; any thread.
#pragma once

#include <cstddef>

/// A run of octets that has been decoded; with both numbers 0 nothing could be.
struct OctetRun {
    std::size_t taken;  // of what there is to read
    std::size_t given;  // to the reader

    /// `next`: the run behind this one.
    OctetRun& operator+=(const OctetRun& next) {
        taken += next.taken;
        given += next.given;
        return *this;
    }
};
