// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <streambuf>
#include <string>

/// Reads octets that lie in memory, without a copy.
class MemorySource : public std::streambuf {
  public:
    explicit MemorySource(const std::string& octets) {
        char* const begin = const_cast<char*>(octets.data());  // a get area is not written to
        setg(begin, begin, begin + octets.size());
    }
};
