// SPDX-License-Identifier: Apache-2.0
// Streams that refuse.
#include <gtest/gtest.h>

#include <ostream>

#include "tests/unit/rfc2822encoder/encoder_fixtures.h"

namespace {

const std::time_t timeNow = 1700000000;

// Writes `encoder` to a target that takes `capacity` octets; returns whether the stream stays good.
bool fits(const RFC2822Encoder& encoder, bool eightBit, Target& target) {
    std::ostream out(&target);
    encoder.getData(eightBit, out);
    EXPECT_EQ(out.good(), !out.bad());
    return out.good();
}

RFC2822Encoder messageOf(const Zeb_String& body) {
    RFC2822Encoder encoder;
    encoder.addTo(u"t@x", u"");
    encoder.setSubject(u"Subject");
    encoder.setBody(body);
    return encoder;
}

// Octets at the end of the message that may be lost without a trace.
void expectBadUpTo(const RFC2822Encoder& encoder, bool eightBit, std::size_t silentTail) {
    const FixedClock clock(timeNow, "UTC0");
    const std::string whole = message(encoder, eightBit);
    for (std::size_t capacity = 0; capacity <= whole.size(); ++capacity) {
        Target target(capacity);
        EXPECT_EQ(fits(encoder, eightBit, target), capacity + silentTail >= whole.size())
            << capacity << " of " << whole.size();
        EXPECT_EQ(target.text(), whole.substr(0, capacity));
    }
}

TEST(MessageFailure, AnyRefusedOctetOfAPlainBodySetsTheBadBit) {
    expectBadUpTo(messageOf(u"hello\nworld"), /*eightBit=*/false, 0);
}

TEST(MessageFailure, AnyRefusedOctetOfAnEightBitBodySetsTheBadBit) {
    expectBadUpTo(messageOf(u"hello\nJ\xF6rg"), /*eightBit=*/true, 0);
}

TEST(MessageFailure, AnyRefusedOctetOfBase64SetsTheBadBit) {
    expectBadUpTo(messageOf(Zeb_String(0xE9, 60)), /*eightBit=*/false, 0);
}

TEST(MessageFailure, AnyRefusedOctetOfAnEmptyBodySetsTheBadBit) {
    expectBadUpTo(messageOf(u""), /*eightBit=*/false, 0);
}

TEST(MessageFailure, EndedQuotedPrintableLineSetsTheBadBit) {
    expectBadUpTo(messageOf(u"Hello, world, from J\xF6rg\n"), /*eightBit=*/false, 0);
}

TEST(MessageFailure, LostSoftBreakAtTheEndOfQuotedPrintableGoesUnnoticed) {
    expectBadUpTo(messageOf(u"Hello, world, from J\xF6rg"), /*eightBit=*/false, 3);
}

TEST(MessageFailure, LostCarriageReturnAtTheEndOfQuotedPrintableGoesUnnoticed) {
    // Sync writes "=0D" and the soft break.
    expectBadUpTo(messageOf(u"Hello, world, from J\xF6rg\r"), /*eightBit=*/false, 6);
}

TEST(MessageFailure, TargetThatCannotSyncSetsTheBadBit) {
    for (const char16_t* body : {u"", u"hello", u"hello \x01 world", u"\xE9\xE9"})
        for (const bool eightBit : {false, true}) {
            Target target;
            target.setSyncResult(-1);
            EXPECT_FALSE(fits(messageOf(body), eightBit, target));
        }
}

TEST(MessageFailure, OnlyMinusOneIsAFailedSync) {
    for (const char16_t* body : {u"", u"hello", u"hello \x01 world", u"\xE9\xE9"}) {
        Target target;
        target.setSyncResult(1);
        EXPECT_TRUE(fits(messageOf(body), /*eightBit=*/false, target));
    }
}

TEST(MessageFailure, NothingIsWrittenToAStreamThatIsBadAlready) {
    Target target;
    std::ostream out(&target);
    out.setstate(std::ios::badbit);
    messageOf(u"hello").getData(/*eightBit=*/false, out);
    EXPECT_EQ(target.text(), "");
    EXPECT_EQ(target.syncs(), 0);
}

TEST(MessageFailure, AStreamThatHasEndedOrFailedBecomesBad) {
    for (const auto state : {std::ios::eofbit, std::ios::failbit}) {
        Target target;
        std::ostream out(&target);
        out.setstate(state);
        messageOf(u"hello").getData(/*eightBit=*/false, out);
        EXPECT_EQ(target.text(), "");
        EXPECT_TRUE(out.bad());
    }
}

TEST(MessageFailure, BodyIsSyncedOnce) {
    for (const char16_t* body : {u"", u"hello", u"hello \x01 world", u"\xE9\xE9"})
        for (const bool eightBit : {false, true}) {
            Target target;
            EXPECT_TRUE(fits(messageOf(body), eightBit, target));
            EXPECT_EQ(target.syncs(), 1);
        }
}

TEST(MessageFailure, NothingIsThrownForAStreamWithoutABuffer) {
    std::ostream out(nullptr);
    EXPECT_NO_THROW(messageOf(u"hello").getData(false, out));
    EXPECT_TRUE(out.bad());
}

}  // namespace
