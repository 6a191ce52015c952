// SPDX-License-Identifier: Apache-2.0
// A body that the caller gives in two pieces, cut at every unit.
#include <gtest/gtest.h>

#include <sstream>

#include "inet/rfc2822encoder.utf16.h"
#include "tests/support/wide_text.h"

namespace {

/// Lines of characters of all sizes, pairs of surrogates among them.
Zeb_String longText() {
    std::string text;
    for (std::size_t i = 0; text.size() < 3000; ++i)
        text += std::string(i % 61, 'x') + "\u00E9\u20AC\U0001F600" +
                (i % 3 == 0   ? "\n"
                 : i % 3 == 1 ? "\r\n"
                              : ".");
    return wide(text);
}

/// What stands behind the header.
std::string bodyOf(const RFC2822Encoder& encoder, bool eightBit) {
    std::ostringstream out;
    encoder.getData(eightBit, out);
    const std::string message = out.str();
    return message.substr(message.find("\r\n\r\n") + 4);
}

class TextCuts : public testing::TestWithParam<bool> {};

TEST_P(TextCuts, ABodyMayComeInTwoPieces) {
    const Zeb_String text = longText();
    RFC2822Encoder whole;
    whole.setBody(text);
    const std::string body = bodyOf(whole, GetParam());
    ASSERT_GT(body.size(), 3000U);
    for (int cut = 0; cut <= text.GetLength(); ++cut) {
        RFC2822Encoder encoder;
        encoder.setBody(text.Left(cut));
        encoder.appendBody(text.Mid(cut, text.GetLength()));
        ASSERT_EQ(bodyOf(encoder, GetParam()), body) << "cut at " << cut;
    }
}

INSTANTIATE_TEST_SUITE_P(EightBit, TextCuts, testing::Bool());

}  // namespace
