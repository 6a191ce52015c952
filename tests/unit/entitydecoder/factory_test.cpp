// SPDX-License-Identifier: Apache-2.0
// MIMEDecoder::getDecoder: which class an entity gets, and what every entity answers.
#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <sstream>
#include <type_traits>

#include "tests/support/wide_text.h"
#include "tests/unit/entitydecoder/entity_fixtures.h"

namespace {

const std::string emptyMultipart = "multipart/mixed; boundary=b\n\n--b--\n";

/// The kind of an entity with this Content-Type, and a body behind it.
std::string kindOf(const std::string& contentType) {
    const OwnedEntity entity = entityOf("Content-Type: " + contentType);
    if (entity->isText()) return "text";
    if (entity->isBinary()) return "binary";
    if (entity->isMultipart()) return "multipart";
    return entity->isMessage() ? "message" : "none";
}

std::array<bool, 4> tests(const MIMEDecoder& entity) {
    return {entity.isText(), entity.isBinary(), entity.isMultipart(), entity.isMessage()};
}

std::array<bool, 4> downcasts(MIMEDecoder& entity) {
    return {entity.getTextDecoder() == &entity, entity.getBinaryDecoder() == &entity,
            entity.getMultipartDecoder() == &entity, entity.getMessageDecoder() == &entity};
}

int nonNullDowncasts(MIMEDecoder& entity) {
    return (entity.getTextDecoder() != nullptr) + (entity.getBinaryDecoder() != nullptr) +
           (entity.getMultipartDecoder() != nullptr) + (entity.getMessageDecoder() != nullptr);
}

void expectOnly(std::size_t slot, MIMEDecoder& entity) {
    std::array<bool, 4> expected{};
    expected[slot] = true;
    EXPECT_EQ(tests(entity), expected);
    EXPECT_EQ(downcasts(entity), expected);
    EXPECT_EQ(nonNullDowncasts(entity), 1);
}

TEST(Factory, BuildsATextWithoutContentType) {
    const OwnedEntity entity = entityOf("A: b\n\nbody");
    EXPECT_TRUE(entity->isText());
    EXPECT_EQ(bodyOf(*entity), "body");
}

TEST(Factory, BuildsATextOfTextInAnyCase) { EXPECT_EQ(kindOf("Text/HTML\n\nx"), "text"); }

TEST(Factory, BuildsATextOfTextWithoutASubtype) { EXPECT_EQ(kindOf("text\n\nx"), "text"); }

TEST(Factory, BuildsAMessageOfMessageRfc822) {
    EXPECT_EQ(kindOf("MESSAGE/rfc822\n\nA: b\n\nx"), "message");
}

TEST(Factory, BuildsAMessageOfADeliveryStatus) {
    EXPECT_EQ(kindOf("message/delivery-status\n\nA: b\n\nx"), "message");
}

TEST(Factory, BuildsAMessageOfAPartialMessage) {
    EXPECT_EQ(kindOf("message/partial; id=1\n\nA: b\n\nx"), "message");
}

TEST(Factory, BuildsAMultipartOfAnyMultipart) {
    EXPECT_EQ(kindOf("Multipart/x-any; boundary=b\n\n--b--\n"), "multipart");
}

TEST(Factory, BuildsABinaryOfAnApplicationType) {
    EXPECT_EQ(kindOf("application/pdf\n\nx"), "binary");
}

TEST(Factory, BuildsABinaryOfAnUnknownType) { EXPECT_EQ(kindOf("x-own/text\n\nx"), "binary"); }

TEST(Factory, BuildsABinaryOfATypeThatDoesNotParse) {
    EXPECT_EQ(kindOf("/plain\n\nx"), "binary");
    EXPECT_EQ(kindOf("\"text\"/plain\n\nx"), "binary");
    EXPECT_EQ(kindOf(";\n\nx"), "binary");
}

TEST(Factory, TakesAnEmptyContentTypeForNone) { EXPECT_EQ(kindOf("\n\nx"), "text"); }

TEST(Factory, TakesTheFirstOfTwoContentTypes) {
    EXPECT_EQ(kindOf("application/pdf\nContent-Type: text/plain\n\nx"), "binary");
}

TEST(Factory, SkipsACommentBeforeTheType) { EXPECT_EQ(kindOf("(c) text/plain\n\nx"), "binary"); }

TEST(Factory, OfAnEmptyStreamBuildsAnEmptyText) {
    const OwnedEntity entity = entityOf("");
    EXPECT_TRUE(entity->isText());
    EXPECT_TRUE(entity->getHeaders().empty());
    EXPECT_EQ(bodyOf(*entity), "");
}

TEST(Factory, ReadsTheStreamToItsEnd) {
    for (const std::string type : {"text/plain", "image/png", "message/rfc822"}) {
        std::istringstream in("Content-Type: " + type + "\n\nA: b\n\nbody\n");
        const OwnedEntity entity = entityOf(in);
        EXPECT_EQ(in.rdbuf()->sgetc(), std::char_traits<char>::eof()) << type;
    }
}

TEST(Factory, ReadsAMultipartToTheEndOfTheStream) {
    std::istringstream in("Content-Type: " + emptyMultipart + "the epilogue\n--b\nis long");
    const OwnedEntity entity = entityOf(in);
    EXPECT_EQ(in.rdbuf()->sgetc(), std::char_traits<char>::eof());
}

TEST(Entity, OfTextAnswersOnlyThat) { expectOnly(0, *entityOf("Content-Type: text/plain\n\n")); }

TEST(Entity, OfBinaryAnswersOnlyThat) { expectOnly(1, *entityOf("Content-Type: image/png\n\n")); }

TEST(Entity, OfMultipartAnswersOnlyThat) {
    expectOnly(2, *entityOf("Content-Type: " + emptyMultipart));
}

TEST(Entity, OfMessageAnswersOnlyThat) {
    expectOnly(3, *entityOf("Content-Type: message/rfc822\n\n"));
}

TEST(Entity, HasNoVirtualDestructor) {
    EXPECT_TRUE(std::is_polymorphic_v<MIMEDecoder>);
    EXPECT_FALSE(std::has_virtual_destructor_v<MIMEDecoder>);
    EXPECT_FALSE(std::has_virtual_destructor_v<MIMEMultipartDecoder>);
    EXPECT_FALSE(std::has_virtual_destructor_v<RFC2822Decoder>);
}

TEST(Entity, KeepsACopyOfTheHeadersItIsGiven) {
    std::istringstream in("body");
    HeaderMap headers{{u"A", "b"}};
    const MIMEBinaryDecoder entity(headers, in);
    headers.clear();
    EXPECT_EQ(entity.getRawHeader(u"A"), "b");
}

TEST(Entity, OutlivesItsStream) {
    auto in = std::make_unique<std::istringstream>("A: b\n\nbody");
    const OwnedEntity entity = entityOf(*in);
    in.reset();
    EXPECT_EQ(bodyOf(*entity), "body");
    EXPECT_EQ(entity->getRawHeader(u"a"), "b");
}

TEST(RawHeader, IsFoundInAnyCase) {
    EXPECT_EQ(entityOf("X-Thing: (a) =?utf-8?q?b?=\n\n")->getRawHeader(u"x-THING"),
              "(a) =?utf-8?q?b?=");
}

TEST(RawHeader, IsEmptyWhenThereIsNone) { EXPECT_EQ(entityOf("A: b\n\n")->getRawHeader(u"B"), ""); }

TEST(MimeHeader, IsTheFieldParsed) {
    const MIMEHeaderValue value = entityOf("X: a/b; c=d\n\n")->getMIMEHeader(u"x", "e/f; g=h");
    EXPECT_EQ(value.getValue(), u"a");
    EXPECT_EQ(value.getSubvalue(), u"b");
    EXPECT_EQ(value.getParameter(u"c", u"none"), u"d");
    EXPECT_EQ(value.getParameter(u"g", u"none"), u"none");
}

TEST(MimeHeader, IsTheDefaultParsedWhenThereIsNoField) {
    const MIMEHeaderValue value = entityOf("A: b\n\n")->getMIMEHeader(u"x", "e/f; g=h");
    EXPECT_EQ(value.getSubvalue(), u"f");
    EXPECT_EQ(value.getParameter(u"g", u"none"), u"h");
}

}  // namespace
