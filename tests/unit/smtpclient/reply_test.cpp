// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/smtpclient/session.h"

namespace {

struct ReplyRow {
    const char* name;
    std::string octets;  // what the server sends before it closes
    std::string code;
    std::string text;
};

void PrintTo(const ReplyRow& row, std::ostream* out) { *out << row.name; }

const ReplyRow replyRows[] = {
    {"oneLine", "250 OK\r\n", "250", "OK"},
    {"bareCode", "250\r\n", "250", ""},
    {"bareCodeAndABlank", "250 \r\n", "250", ""},
    {"textWithBlanksAround", "250  OK \t \r\n", "250", " OK"},
    {"lineFeedOnly", "250 OK\n", "250", "OK"},
    {"severalCarriageReturns", "250 OK\r\r\r\n", "250", "OK"},
    {"carriageReturnInside", "250 O\rK\r\n", "250", "O\rK"},
    {"twoLines", "250-a\r\n250 b\r\n", "250", "a\nb"},
    {"emptyLinesFirst", "250-\r\n250-\r\n250 x\r\n", "250", "x"},
    {"bareCodeLast", "250-a\r\n250\r\n", "250", "a"},
    {"emptyLineBetween", "250-a\r\n250-\r\n250 x\r\n", "250", "a\n\nx"},
    {"emptyLineLast", "250-a\r\n250-\r\n250 \r\n", "250", "a\n"},
    {"codeOfTheLastLineCounts", "250-a\r\n354 b\r\n", "354", "a\nb"},
    {"otherFourthCharacter", "250x\r\n", "999", ""},
    {"otherFourthCharacterAndText", "250xyz\r\n", "999", "yz"},
    {"otherFourthCharacterLater", "250-a\r\n250xb\r\n", "999", "a\nb"},
    {"tabForABlank", "250\tOK\r\n", "999", "OK"},
    {"twoCharacters", "25\r\n", "999", ""},
    {"twoCharactersLater", "250-a\r\n25\r\n", "999", "a"},
    {"emptyLine", "\r\n", "999", ""},
    {"noOctetBeforeTheLineFeed", "\n", "999", ""},
    {"anyThreeCharacters", "xyz hello\r\n", "xyz", "hello"},
    {"threeLetters", "xyz\r\n", "xyz", ""},
    {"twoBlanksAndACarriageReturn", "  \r\n", "  \r", ""},
    {"nothingButBlanks", "   \r\n", "999", ""},
    {"blanksAndAHyphen", "   -a\r\n250 b\r\n", "250", "a\nb"},
    {"sixDigits", "250250\r\n", "999", "50"},
    {"octetsOfEightBits", "250 caf\xC3\xA9\xFF\r\n", "250", "caf\xC3\xA9\xFF"},
    {"nul", std::string("250 a\0b\r\n", 9), "250", std::string("a\0b", 3)},
    {"noLineFeed", "250 OK", "999", ""},
    {"noLineFeedLater", "250-a\r\n250 b", "999", "a"},
    {"noLastLine", "250-a\r\n", "999", "a"},
    {"nothing", "", "999", ""},
    {"noMailProtocol", "HTTP/1.1 400 Bad Request\r\n\r\n", "999", "/1.1 400 Bad Request"},
    {"moreThanOneReply", "250 a\r\n250 b\r\n", "250", "a"},
};

class Reply : public testing::TestWithParam<ReplyRow> {};

TEST_P(Reply, hasItsCodeAndText) {
    OpenSession session({sandbox::expectLine("NOOP"), sandbox::say(GetParam().octets)});
    session.client.sendCommand("NOOP");
    EXPECT_EQ(session.client.getReplyCode(), GetParam().code);
    EXPECT_EQ(session.client.getReplyText(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Table, Reply, testing::ValuesIn(replyRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Reply, isEmptyBeforeTheFirst) {
    const SMTPClient client;
    EXPECT_EQ(client.getReplyCode(), "");
    EXPECT_EQ(client.getReplyText(), "");
}

TEST(Reply, mayComeOctetByOctet) {
    OpenSession session({sandbox::expectLine("NOOP"), sandbox::sayOneByOne("250-a\r\n250 b\r\n")});
    session.client.sendCommand("NOOP");
    EXPECT_EQ(session.client.getReplyText(), "a\nb");
}

TEST(Reply, canBeReadWithoutACommand) {
    OpenSession session({sandbox::say("421 a\r\n421 b\r\n"), sandbox::close()});
    session.client.readReply();
    EXPECT_EQ(session.client.getReplyText(), "a");
    session.client.readReply();
    EXPECT_EQ(session.client.getReplyCode(), "421");
    EXPECT_EQ(session.client.getReplyText(), "b");
    session.client.readReply();
    EXPECT_EQ(session.client.getReplyCode(), "999");
    EXPECT_EQ(session.client.getReplyText(), "");
}

TEST(Reply, ofAClosedClientIsNone) {
    SMTPClient client;
    client.readReply();
    EXPECT_EQ(client.getReplyCode(), "999");
}

}  // namespace
