// SPDX-License-Identifier: Apache-2.0
// Messages that are made to do harm. Nothing here measures time: what does not end, or does not
// grow linearly, runs into the limit that each test has.
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "tests/support/wide_text.h"
#include "tests/unit/entitydecoder/entity_fixtures.h"
#include "tests/unit/guardedmessage/guarded_fixtures.h"
#include "tests/unit/guardedmessage/small_stack.h"

namespace {

const std::string nested = crlf(
    "Subject: outer\nContent-Type: multipart/mixed; boundary=outer\n\npreamble\n--outer\n"
    "Content-Type: multipart/alternative; boundary=inner\n\n--inner\n\none\n--inner\n"
    "Content-Type: text/html\nContent-Transfer-Encoding: quoted-printable\n\n=3Cp>=\n\n"
    "--inner--\n--outer\nContent-Type: message/rfc822\n\nSubject: embedded\n"
    "Content-Type: multipart/mixed; boundary=third\n\n--third\n"
    "Content-Type: image/png\nContent-Transfer-Encoding: base64\n\nQUJD\n--third--\n"
    "\n--outer--\nepilogue\n");

/// `levels` multiparts, one in the other, around `body`.
std::string nestedMultiparts(int levels, const std::string& body) {
    std::string text;
    for (int level = 0; level < levels; ++level) {
        const std::string boundary = "b" + std::to_string(1'000'000 + level);
        text += "Content-Type: multipart/mixed; boundary=" + boundary + "\r\n\r\n--" + boundary +
                "\r\n";
    }
    return text + "\r\n" + body;
}

std::string nestedMessages(int levels, const std::string& body) {
    return repeated("Content-Type: message/rfc822\r\n\r\n", static_cast<std::size_t>(levels)) +
           "\r\n" + body;
}

/// How many containers lie in each other, along their first children.
int depthOf(MIMEDecoder* entity) {
    int depth = 0;
    while (!entity->isText() && !entity->isBinary()) {
        ++depth;
        entity =
            entity->isMultipart() ? partsOf(*entity).at(0) : asMessage(*entity).getMessageEntity();
    }
    return depth;
}

/// Throws behind its text, at each read.
class BreakingSource : public std::streambuf {
  public:
    explicit BreakingSource(std::string text) : text_(std::move(text)) {
        setg(text_.data(), text_.data(), text_.data() + text_.size());
    }

  protected:
    int_type underflow() override { throw std::runtime_error("broken"); }

  private:
    std::string text_;
};

std::string lastDefectOf(const std::string& text) {
    const Defects defects = defectsOf(text);
    return defects.empty() ? "" : defects.back();
}

TEST(Hostile, CutOffInItsHeaderEnds) {
    for (std::size_t length = 0; length < nested.find("preamble"); ++length) {
        std::istringstream in(nested.substr(0, length));
        const GuardedMessage message(in);
        EXPECT_EQ(in.rdbuf()->sgetc(), std::char_traits<char>::eof()) << length;
    }
}

TEST(Hostile, CutOffBeforeItsCloseDelimiterTellsIt) {
    for (std::size_t length = nested.find("preamble"); length < nested.find("--outer--") + 8;
         ++length)
        EXPECT_EQ(lastDefectOf(nested.substr(0, length)), defect("unclosedMultipart", "1", length));
}

TEST(Hostile, CutOffBehindItsCloseDelimiterIsWhole) {
    for (std::size_t length = nested.find("--outer--") + 8; length <= nested.size(); ++length)
        EXPECT_EQ(lastDefectOf(nested.substr(0, length)), "") << length;
}

TEST(Hostile, CutOffAnywhereHasThePlainTreeWhereThatEnds) {
    int same = 0;
    for (std::size_t length = 0; length <= nested.size(); ++length) {
        const std::string text = nested.substr(0, length);
        if (!defectsOf(text).empty()) continue;
        ASSERT_EQ(guardedDump(text), dump(*messageOf(text))) << length;
        ++same;
    }
    EXPECT_GT(same, 30);
}

TEST(Hostile, CutOffAnywhereKeepsWhatCameBefore) {
    const std::string whole = guardedDump(nested);
    const std::size_t firstLeaf = whole.find("\"one\"");
    ASSERT_NE(firstLeaf, std::string::npos);
    for (std::size_t length = nested.find("one") + 3; length <= nested.size(); ++length) {
        const std::string tree = guardedDump(nested.substr(0, length));
        EXPECT_EQ(tree.substr(0, firstLeaf + 4), whole.substr(0, firstLeaf + 4)) << length;
    }
}

TEST(Hostile, BrokenOffAnywhereThrowsAndReleasesAll) {
    for (std::size_t length = 0; length < nested.size(); ++length) {
        BreakingSource source(nested.substr(0, length));
        std::istream in(&source);
        EXPECT_THROW(GuardedMessage message(in), std::runtime_error) << length;
    }
}

TEST(Hostile, MessagesNested100000Deep) {
    std::istringstream in(nestedMessages(100'000, "body"));
    const GuardedMessage message(in);
    EXPECT_EQ(depthOf(message.getMessage().getMessageEntity()), 99);
    ASSERT_EQ(message.getDefectCount(), 1U);
    EXPECT_EQ(message.getDefects()[0].kind, MIMEDefect::Kind::TooDeep);
    EXPECT_EQ(message.getDefects()[0].entity, "1" + repeated(".1", 99));
}

TEST(Hostile, MultipartsNested100000Deep) {
    std::istringstream in(nestedMultiparts(100'000, "body"));
    const GuardedMessage message(in);
    EXPECT_EQ(depthOf(message.getMessage().getMessageEntity()), 99);
    // One is too deep, those around it are cut off.
    ASSERT_EQ(message.getDefectCount(), 100U);
    EXPECT_EQ(message.getDefects()[0].kind, MIMEDefect::Kind::TooDeep);
    EXPECT_EQ(message.getDefects()[0].entity, "1" + repeated(".1", 99));
    EXPECT_EQ(message.getDefects()[99].kind, MIMEDefect::Kind::UnclosedMultipart);
    EXPECT_EQ(message.getDefects()[99].entity, "1");
}

TEST(Hostile, FiveMillionEmptyParts) {
    EXPECT_EQ(
        withinMebibytes(
            64,
            []() -> std::string {
                GeneratedSource source("Content-Type: multipart/mixed; boundary=b\r\n\r\n",
                                       "--b\r\n\r\n", 5'000'000, "--b--\r\n");
                std::istream in(&source);
                const GuardedMessage message(in, {.overhead = 16 << 20});
                const std::size_t parts = partsOf(*message.getMessage().getMessageEntity()).size();
                if (parts != 19'999) return std::to_string(parts) + " parts";
                const Defects expected{defect("tooManyEntities", "1", 43 + 2 + 19'999 * 7 + 5)};
                return shown(message.getDefects()) == expected ? ""
                                                               : shown(message.getDefects()).at(0);
            }),
        "");
}

TEST(Hostile, LineOfOneGibibyteInTheHeader) {
    const std::size_t size = std::size_t{isSanitized ? 64U : 1024U} << 20;
    EXPECT_EQ(
        withinMebibytes(16,
                        [&]() -> std::string {
                            GeneratedSource source("A: ", "x", size, "\r\nB: c\r\n\r\nbody");
                            std::istream in(&source);
                            const GuardedMessage message(in);
                            MIMEDecoder& entity = *message.getMessage().getMessageEntity();
                            if (entity.getRawHeader(u"A").size() != (std::size_t{1} << 20) - 3)
                                return "the value";
                            if (bodyOf(entity) != "body") return "the body";
                            const Defects expected{defect("headerTooLarge", "1", 3 + size + 10)};
                            return shown(message.getDefects()) == expected
                                       ? ""
                                       : shown(message.getDefects()).at(0);
                        }),
        "");
}

TEST(Hostile, HeaderOfOneGibibyteInManyLines) {
    const std::size_t size = std::size_t{isSanitized ? 64U : 1024U} << 20;
    EXPECT_EQ(
        withinMebibytes(64,
                        [&]() -> std::string {
                            GeneratedSource source("", "A: bcd\r\n", size / 8, "\r\nbody");
                            std::istream in(&source);
                            const GuardedMessage message(in);
                            MIMEDecoder& entity = *message.getMessage().getMessageEntity();
                            if (entity.getRawHeader(u"A").size() != (std::size_t{1} << 17) * 4 - 1)
                                return "the value";
                            return bodyOf(entity) == "body" ? "" : "the body";
                        }),
        "");
}

TEST(LargeGuardedMessage, TakesABase64BodyInTwiceItsSize) {
    const std::size_t size = std::size_t{isSanitized ? 8U : 200U} << 20;
    EXPECT_EQ(withinMebibytes(
                  2 * static_cast<long>(size >> 20),
                  [&]() -> std::string {
                      std::string line;
                      while (line.size() < 76) line += "QUJD";
                      line += "\r\n";
                      GeneratedSource source(
                          "Content-Type: a/b\r\nContent-Transfer-Encoding: base64\r\n\r\n", line,
                          size / line.size(), "");
                      std::istream in(&source);
                      const GuardedMessage message(in);
                      const std::string& body = bodyOf(*message.getMessage().getMessageEntity());
                      return body.size() == size / line.size() * 57 ? "" : "too short";
                  }),
              "");
}

TEST(Hostile, SectionOfTheLargestNumber) {
    EXPECT_EQ(withinMebibytes(16,
                              []() -> std::string {
                                  std::istringstream in(
                                      "Content-Type: text/plain; charset*0=utf;"
                                      " charset*2147483647=x; charset*1=-8\n\nbody");
                                  const GuardedMessage message(in);
                                  MIMEDecoder& entity = *message.getMessage().getMessageEntity();
                                  return utf8(entity.getTextDecoder()->getCharsetName());
                              }),
              "utf-8x");
}

TEST(Hostile, BoundaryThatNeverOccurs) {
    const std::string text = crlf("Content-Type: multipart/mixed; boundary=never\n\n" +
                                  repeated("--neve\n--nev\n\n", 100'000));
    std::istringstream in(text);
    const GuardedMessage message(in);
    EXPECT_TRUE(partsOf(*message.getMessage().getMessageEntity()).empty());
    EXPECT_EQ(shown(message.getDefects()), Defects{defect("unclosedMultipart", "1", text.size())});
}

TEST(Hostile, EmptyBoundary) {
    const std::string text =
        crlf("Content-Type: multipart/mixed; boundary=\"\"\n\n" + repeated("--\n\nx\n", 50'000));
    std::istringstream in(text);
    const GuardedMessage message(in, {.overhead = 16 << 20});
    EXPECT_EQ(partsOf(*message.getMessage().getMessageEntity()).size(), 19'999U);
    ASSERT_EQ(message.getDefectCount(), 2U);
    EXPECT_EQ(message.getDefects()[0].kind, MIMEDefect::Kind::NoBoundary);
    EXPECT_EQ(message.getDefects()[1].kind, MIMEDefect::Kind::TooManyEntities);
}

TEST(Hostile, MultipartsWithoutABoundaryInEachOther) {
    const std::string text = repeated("Content-Type: multipart/mixed\r\n\r\n--\r\n", 10'000);
    std::istringstream in(text);
    const GuardedMessage message(in);
    EXPECT_GT(message.getDefectCount(), 1000U);
    EXPECT_EQ(message.getDefects().size(), 1000U);
}

TEST(Hostile, MalformedEscapesOnly) {
    const std::size_t count = 1'000'000;
    std::istringstream in("Content-Transfer-Encoding: quoted-printable\n\n" +
                          repeated("=zz", count) + "end");
    const GuardedMessage message(in);
    EXPECT_EQ(bodyOf(*message.getMessage().getMessageEntity()), "end");
    EXPECT_EQ(message.getDefectCount(), count);
}

TEST(Hostile, HeaderOfLinesWithoutAColon) {
    std::istringstream in(repeated("x\n", 400'000) + "\nbody");
    const GuardedMessage message(in);
    EXPECT_EQ(message.getDefectCount(), 400'000U);
    EXPECT_EQ(bodyOf(*message.getMessage().getMessageEntity()), "body");
}

TEST(Hostile, ContentTypeOfOpenComments) {
    std::istringstream in("Content-Type: text/plain; charset=" + std::string(1 << 20, '(') +
                          "\n\nbody");
    const GuardedMessage message(in);
    EXPECT_EQ(message.getDefects().at(0).kind, MIMEDefect::Kind::HeaderTooLarge);
}

void decodeDeep(const std::string& text) {
    onSmallStack([&] {
        std::istringstream in(text);
        const GuardedMessage message(in);
        EXPECT_EQ(depthOf(message.getMessage().getMessageEntity()), 99);
    });
}

TEST(Hostile, MultipartsInEachOtherOnASmallStack) { decodeDeep(nestedMultiparts(120, "body")); }

TEST(Hostile, MessagesInEachOtherOnASmallStack) { decodeDeep(nestedMessages(120, "body")); }

TEST(Hostile, MessagesInMultipartsOnASmallStack) {
    std::string text;
    for (int level = 0; level < 60; ++level) {
        const std::string boundary = "b" + std::to_string(1'000 + level);
        text += "Content-Type: multipart/mixed; boundary=" + boundary + "\r\n\r\n--" + boundary +
                "\r\nContent-Type: message/rfc822\r\n\r\n";
    }
    decodeDeep(text + "\r\nbody");
}

TEST(Hostile, EncodedMessagesInEachOtherOnASmallStack) {
    decodeDeep(repeated("Content-Transfer-Encoding: quoted-printable\r\n"
                        "Content-Type: message/rfc822\r\n\r\n",
                        120) +
               "\r\nbody");
}

TEST(Hostile, FieldsOfTheDeepestEntityOnASmallStack) {
    const std::string fields = "To: " + repeated("(\"a\" =?utf-8?q?b?= ", 1'000) +
                               "\r\nContent-Type: text/plain" + repeated(";a*1=b", 100) +
                               ";charset=iso-2022-jp\r\n\r\nbody";
    std::string text = nestedMultiparts(99, "");
    text.replace(text.rfind("\r\n"), 2, fields);
    decodeDeep(text);
}

}  // namespace
