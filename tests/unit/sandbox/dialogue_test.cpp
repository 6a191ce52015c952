// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "sandbox/scripted_peer.h"

using sandbox::parseDialogue;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace sandbox {
bool operator==(const Move& one, const Move& other) {
    return one.kind == other.kind && one.octets == other.octets;
}
}  // namespace sandbox

namespace {

TEST(ParseDialogue, makesOneMoveOfEachLine) {
    const auto dialogue = parseDialogue("S: 220 hi\nC: QUIT\nbytes 2\\r\\n\\x00\nclose\n");
    EXPECT_EQ(dialogue,
              (sandbox::Dialogue{sandbox::say("220 hi\r\n"), sandbox::expectLine("QUIT"),
                                 sandbox::say(std::string("2\r\n\0", 4)), sandbox::close()}));
}

TEST(ParseDialogue, knowsTheOtherEnds) {
    EXPECT_EQ(parseDialogue("reset"), sandbox::Dialogue{sandbox::reset()});
    EXPECT_EQ(parseDialogue("silence"), sandbox::Dialogue{sandbox::silence()});
}

TEST(ParseDialogue, skipsBlankLinesIndentationAndComments) {
    EXPECT_EQ(parseDialogue("\n   \n  # nothing\n    S: 220 hi\n"),
              sandbox::Dialogue{sandbox::say("220 hi\r\n")});
}

TEST(ParseDialogue, keepsAllButOneSpaceOfALine) {
    EXPECT_EQ(parseDialogue("S:  a \nC:\nS:b"),
              (sandbox::Dialogue{sandbox::say(" a \r\n"), sandbox::expectLine(""),
                                 sandbox::say("b\r\n")}));
}

TEST(ParseDialogue, namesALineThatIsNoMove) {
    EXPECT_THAT([] { parseDialogue("S: 220\nclosed\n"); },
                ThrowsMessage<std::invalid_argument>(HasSubstr("closed: ")));
    EXPECT_THAT([] { parseDialogue("bytes \\q"); },
                ThrowsMessage<std::invalid_argument>(HasSubstr("\\q")));
}

}  // namespace
