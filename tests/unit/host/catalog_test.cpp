// SPDX-License-Identifier: Apache-2.0
#include "host/catalog.h"

#include <gtest/gtest.h>

#include <climits>
#include <set>
#include <string>

#include "tests/unit/host/units.h"

namespace {

constexpr unsigned int firstMessage = 25968;
constexpr unsigned int lastMessage = 25977;

TEST(Catalog, HasTheTenNetworkMessages) {
    std::set<std::u16string> texts;
    for (unsigned int id = firstMessage; id <= lastMessage; ++id) {
        const char16_t* message = CatalogMessage(id);
        ASSERT_NE(nullptr, message) << id;
        EXPECT_EQ(message, CatalogMessage(id)) << id;
        texts.insert(message);
    }
    EXPECT_EQ(10u, texts.size());
}

TEST(Catalog, MessagesArePlainSentences) {
    for (unsigned int id = firstMessage; id <= lastMessage; ++id) {
        const std::u16string message = CatalogMessage(id);
        ASSERT_GT(message.size(), 15u) << id;
        EXPECT_TRUE(message.front() >= u'A' && message.front() <= u'Z')
            << Printable(message.c_str());
        EXPECT_EQ(u'.', message.back()) << Printable(message.c_str());
        EXPECT_NE(std::u16string::npos, message.find(u' ')) << Printable(message.c_str());
        for (const char16_t unit : message)
            EXPECT_TRUE(unit >= 0x20 && unit < 0x7F) << Printable(message.c_str());
    }
}

TEST(Catalog, OnlyTheLastMessageTakesAnArgument) {
    for (unsigned int id = firstMessage; id < lastMessage; ++id) {
        const std::u16string message = CatalogMessage(id);
        EXPECT_EQ(std::u16string::npos, message.find(u'%')) << Printable(message.c_str());
    }
    const std::u16string last = CatalogMessage(lastMessage);
    EXPECT_NE(std::u16string::npos, last.find(u"%d"));
    EXPECT_EQ(last.find(u'%'), last.rfind(u'%'));
}

TEST(Catalog, HasNothingElse) {
    for (const unsigned int id : {0u, 1u, firstMessage - 1, lastMessage + 1, UINT_MAX})
        EXPECT_EQ(nullptr, CatalogMessage(id)) << id;
}

TEST(Catalog, FormatTakesAMessageByNumber) {
    for (unsigned int id = firstMessage; id < lastMessage; ++id) {
        Zeb_String text(u"replaced");
        text.Format(id);
        EXPECT_EQ(text, CatalogMessage(id)) << id;
        text.Format(id, 5);
        EXPECT_EQ(text, CatalogMessage(id)) << id;
    }
}

TEST(Catalog, FormatPutsTheCodeIntoTheLastMessage) {
    for (const int code : {113, -7, INT_MIN}) {
        Zeb_String expected(CatalogMessage(lastMessage));
        expected.Replace(u"%d", wide(std::to_string(code)));
        Zeb_String text;
        text.Format(lastMessage, code);
        EXPECT_EQ(text, expected) << code;
        EXPECT_GE(text.Find(wide(std::to_string(code))), 0) << code;
    }
}

TEST(Catalog, FormatWithANumberThatIsNotThereGivesTheNumber) {
    Zeb_String text(u"replaced");
    text.Format(lastMessage + 1, 5);
    EXPECT_EQ(text, u"Message 25978");
}

}  // namespace
