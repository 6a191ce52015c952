// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/new_name.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

bool giveNewName(int folder, const std::string& from, const std::string& to) {
    if (renameat2(folder, from.c_str(), folder, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    // Where the file system has no such call, as over a network, a link does the same.
    if (errno != EINVAL && errno != ENOSYS) return false;
    if (linkat(folder, from.c_str(), folder, to.c_str(), 0) != 0) return false;
    unlinkat(folder, from.c_str(), 0);
    return true;
}
