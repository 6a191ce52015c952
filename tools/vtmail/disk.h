// SPDX-License-Identifier: Apache-2.0
// What lasts on disk. Failure: throws Failure with the path and the reason.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

/// "cannot WHAT PATH: " and the text of the errno value.
[[noreturn]] void failAt(int exitCode, const char* what, const std::filesystem::path& path,
                         int error);

/// Makes the names in a folder last.
void syncFolder(const std::filesystem::path& folder);

/// Makes the octets of a file last.
void syncFile(int descriptor, const std::string& path);

/// Makes a folder that is missing, with its parents. Mail is private: nobody else may look into it.
void makePrivateFolder(const std::filesystem::path& folder);

/// Writes all octets at the position of the descriptor.
void writeAll(int descriptor, std::string_view octets, const std::string& path);
