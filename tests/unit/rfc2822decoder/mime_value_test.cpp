// SPDX-License-Identifier: Apache-2.0
// Value and subvalue of a MIME header, and the object that holds them.
#include <gtest/gtest.h>

#include "tests/support/wide_text.h"
#include "tests/unit/rfc2822decoder/header_fixtures.h"

using namespace std::string_literals;

namespace {

TEST(MimeValue, IsEmptyAtFirst) {
    const MIMEHeaderValue value;
    EXPECT_EQ(value.getValue(), u"");
    EXPECT_EQ(value.getSubvalue(), u"");
    EXPECT_TRUE(value.getParameters().empty());
}

TEST(MimeValue, ValueAndSubvalue) {
    const MIMEHeaderValue value("text/plain"s);
    EXPECT_EQ(value.getValue(), u"text");
    EXPECT_EQ(value.getSubvalue(), u"plain");
}

TEST(MimeValue, MediaTypeWithAParameter) {
    EXPECT_EQ(dump(MIMEHeaderValue("text/plain; charset=us-ascii"s)),
              "text/plain; charset=\"us-ascii\"");
}

TEST(MimeValue, MultipartWithAQuotedBoundary) {
    EXPECT_EQ(dump(MIMEHeaderValue("multipart/mixed; boundary=\"abc def\""s)),
              "multipart/mixed; boundary=\"abc def\"");
}

TEST(MimeValue, DispositionHasNoSubvalue) {
    const MIMEHeaderValue value("attachment; filename=a.txt"s);
    EXPECT_EQ(value.getValue(), u"attachment");
    EXPECT_EQ(value.getSubvalue(), u"");
    EXPECT_EQ(value.getParameter(u"filename", u""), u"a.txt");
}

TEST(MimeValue, CaseIsPreserved) { EXPECT_EQ(dump(MIMEHeaderValue("TeXT/Plain"s)), "TeXT/Plain"); }

TEST(MimeValue, BlanksMayStandBetweenTheParts) {
    EXPECT_EQ(dump(MIMEHeaderValue(" text\t/\r\n plain ; a = b "s)), "text/plain; a=\"b\"");
}

TEST(MimeValue, EmptyText) {
    EXPECT_EQ(dump(MIMEHeaderValue(""s)), "");
    EXPECT_EQ(dump(MIMEHeaderValue(" \r\n"s)), "");
}

TEST(MimeValue, ParametersWithoutAValueAreDropped) {
    EXPECT_EQ(dump(MIMEHeaderValue("; a=b"s)), "");
}

TEST(MimeValue, QuotedValueIsNone) {
    EXPECT_EQ(dump(MIMEHeaderValue("\"text\"/plain; a=b"s)), "");
    EXPECT_EQ(dump(MIMEHeaderValue("text/\"plain\"; a=b"s)), "text");
}

TEST(MimeValue, MissingSubvalueEndsTheText) {
    EXPECT_EQ(dump(MIMEHeaderValue("text/; a=b"s)), "text");
    EXPECT_EQ(dump(MIMEHeaderValue("text/"s)), "text");
    EXPECT_EQ(dump(MIMEHeaderValue("text//plain; a=b"s)), "text");
}

TEST(MimeValue, OtherTokenBehindTheValueEndsTheText) {
    for (const char* rest : {" plain; a=b", " \"plain\"; a=b", "=b; a=b", "?; a=b", "\xE9; a=b"})
        EXPECT_EQ(dump(MIMEHeaderValue("text"s + rest)), "text") << rest;
}

TEST(MimeValue, OtherTokenBehindTheSubvalueEndsTheText) {
    for (const std::string& rest : {" x; a=b"s, "\"x\"; a=b"s, "/x; a=b"s, ", a=b"s, "\0; a=b"s})
        EXPECT_EQ(dump(MIMEHeaderValue("text/plain"s + rest)), "text/plain") << rest;
}

TEST(MimeValue, CommentEndsTheText) {
    EXPECT_EQ(dump(MIMEHeaderValue("(c) text/plain; a=b"s)), "");
    EXPECT_EQ(dump(MIMEHeaderValue("text (c) /plain; a=b"s)), "text");
    EXPECT_EQ(dump(MIMEHeaderValue("text/ (c) plain; a=b"s)), "text");
    EXPECT_EQ(dump(MIMEHeaderValue("text/plain (c); a=b"s)), "text/plain");
}

TEST(MimeValue, UnterminatedTextBehindTheValue) {
    EXPECT_EQ(dump(MIMEHeaderValue("text (c"s)), "text");
    EXPECT_EQ(dump(MIMEHeaderValue("text/plain \"c"s)), "text/plain");
}

TEST(MimeValue, EncodedWordIsNoValue) {
    EXPECT_EQ(dump(MIMEHeaderValue("=?UTF-8?Q?text?=/plain"s)), "");
}

TEST(MimeValue, AssignedTextReplacesEverything) {
    MIMEHeaderValue value("text/plain; a=b; c*0=d"s);
    value = "attachment; e=f"s;
    EXPECT_EQ(dump(value), "attachment; e=\"f\"");
    value = "; x"s;
    EXPECT_EQ(dump(value), "");
}

TEST(MimeValue, CopiesHoldAll) {
    MIMEHeaderValue value("text/plain; a=b"s);
    const MIMEHeaderValue copy(value);
    MIMEHeaderValue assigned("x; y=z"s);
    assigned = value;
    value = ""s;
    EXPECT_EQ(dump(copy), "text/plain; a=\"b\"");
    EXPECT_EQ(dump(assigned), "text/plain; a=\"b\"");
}

}  // namespace
