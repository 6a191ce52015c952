// SPDX-License-Identifier: Apache-2.0
// Giving a file that is complete its name.
#pragma once

#include <string>

/// Renames without ever replacing a file; both names are relative to the descriptor `folder`
/// (AT_FDCWD: the working directory). False on failure, with the reason in errno: EEXIST when
/// there is a file of that name.
bool giveNewName(int folder, const std::string& from, const std::string& to);
