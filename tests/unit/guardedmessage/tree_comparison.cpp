// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/guardedmessage/tree_comparison.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "inet/guardedmessage.utf16.h"
#include "tests/unit/entitydecoder/entity_fixtures.h"

namespace {

/// Whether the plain decoders come to the same tree, and to an end.
bool isHarmless(const MIMEDefect& found) {
    return found.kind == MIMEDefect::Kind::LineWithoutColon ||
           found.kind == MIMEDefect::Kind::UnknownTransferEncoding ||
           found.kind == MIMEDefect::Kind::UnknownCharset ||
           found.kind == MIMEDefect::Kind::NoBoundary;
}

}  // namespace

bool compareTrees(const std::string& text) {
    std::istringstream in(text);
    const GuardedMessage message(in);
    const auto& defects = message.getDefects();
    if (!std::all_of(defects.begin(), defects.end(), isHarmless)) return false;
    const bool isSame = dump(message.getMessage()) == dump(*messageOf(text));
    EXPECT_TRUE(isSame) << text;
    return true;
}
