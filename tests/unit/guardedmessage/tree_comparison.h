// SPDX-License-Identifier: Apache-2.0
// The tree of guarded decoding against the plain one.
#pragma once

#include <string>

/// Expects the two trees of a message to be the same. False when there is no plain one to compare
/// with, because a defect stands in its way.
bool compareTrees(const std::string& text);
