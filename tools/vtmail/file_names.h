// SPDX-License-Identifier: Apache-2.0
// Names of files that a stranger has chosen.
#pragma once

#include <string>
#include <string_view>

namespace file_names {

/// Octets that a safe name may have. Numbers and a file system's own additions still fit.
inline constexpr std::size_t longest = 200;

/// What can be used of `name`, UTF-8, as the name of a file in a folder: its last path part (of
/// "/" and "\"), without control and direction characters, ".." and what would hide the file or
/// make it an option. Longer names lose the end of their stem and keep a short extension. Empty
/// when nothing is left.
std::string safe(std::string_view name);

/// `name` with a number before its extension: "a-2.txt".
std::string numbered(const std::string& name, unsigned number);

}  // namespace file_names
