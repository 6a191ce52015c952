// SPDX-License-Identifier: Apache-2.0
// Counts what operator new has handed out. A program that links this has operators of its own.
#pragma once

#include <cstddef>

/// Counts from its construction on. One at a time, in a process where one thread allocates.
class CountedMemory {
  public:
    CountedMemory();
    /// The most octets that were out at once, with what the allocator adds.
    std::size_t peak() const;
};
