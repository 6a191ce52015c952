// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/resource.h>

/// While it lives no file of the process grows beyond `octets`, as on a disk with no more room.
class FileLimit {
  public:
    explicit FileLimit(rlim_t octets) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit small{octets, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~FileLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
    FileLimit(const FileLimit&) = delete;
    FileLimit& operator=(const FileLimit&) = delete;

  private:
    rlimit before_{};
};
