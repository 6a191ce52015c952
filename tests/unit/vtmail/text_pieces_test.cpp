// SPDX-License-Identifier: Apache-2.0
// A text in pieces is the text as a whole.
#include "tools/vtmail/text_pieces.h"

#include <gtest/gtest.h>

#include <random>

#include "host/host.h"
#include "tools/vtmail/text.h"

namespace {

constexpr std::size_t pieceSize = 65536;

std::string asAWhole(const std::string& octets, const char16_t* charset) {
    Zeb_String text;
    AdMbcsString::cvtToTchar(AdCharset(Zeb_String(charset)), octets.data(), octets.size(), text, 1);
    return toUtf8(text);
}

/// Also counts the pieces.
std::string inPieces(const std::string& octets, const char16_t* charset, std::size_t& pieces) {
    std::string text;
    pieces = 0;
    const auto take = [&](std::string_view piece) {
        text += piece;
        ++pieces;
    };
    EXPECT_TRUE(writeInPieces(octets, charset, take));
    return text;
}

void expectTheSame(const std::string& octets, const char16_t* charset) {
    std::size_t pieces = 0;
    const bool isSame = inPieces(octets, charset, pieces) == asAWhole(octets, charset);
    EXPECT_TRUE(isSame) << Printable(Zeb_String(charset));
    EXPECT_GE(pieces, octets.size() / pieceSize);
}

constexpr const char16_t* charsets[] = {u"UTF-8",
                                        u"US-ASCII",
                                        u"ISO-8859-1",
                                        u"iso-8859-15",
                                        u"latin1",
                                        u"windows-1252",
                                        u"WINDOWS-1255",
                                        u"windows-1258",
                                        u"KOI8-R",
                                        u"ISO-8859-8-I",
                                        u"x-none",
                                        u"",
                                        u"x11-compound-text"};

TEST(TextPieces, OctetsOfEveryValueAtEveryPlaceOfACut) {
    std::string octets;
    for (int i = 0; i < 1024; ++i) octets += static_cast<char>(i % 256);
    for (std::size_t shift = 0; shift < 256; shift += 5) {
        const std::string text = std::string(pieceSize - 512 + shift, 'a') + octets + octets;
        for (const char16_t* charset : charsets) expectTheSame(text, charset);
    }
}

TEST(TextPieces, CharactersOfUtf8AreNotCut) {
    for (const std::string character : {"a", "\u00E4", "\u4E00", "\U0001F600"})
        for (std::size_t shift = 0; shift < 4; ++shift) {
            std::string text(shift, 'x');
            while (text.size() < 3 * pieceSize) text += character;
            for (const char16_t* charset : {u"UTF-8", u"US-ASCII", u"x-none"})
                expectTheSame(text, charset);
        }
}

TEST(TextPieces, MalformedUtf8IsReplacedAsInAWhole) {
    const std::string spoilt[] = {"\x80",
                                  "\xE4\xB8",
                                  "\xF0\x9F\x98",
                                  "\xC3",
                                  "\xFF",
                                  "\xEF\xBB\xBF",
                                  "\xED\xA0\x80",
                                  "\xF0\x9F\x98\x80\x80",
                                  "\xF4\x90\x80\x80"};
    for (const std::string& piece : spoilt)
        for (std::size_t shift = 0; shift < 5; ++shift) {
            std::string text(shift, 'x');
            while (text.size() < 2 * pieceSize + 100) text += piece;
            for (const char16_t* charset : {u"UTF-8", u"US-ASCII"}) expectTheSame(text, charset);
        }
}

TEST(TextPieces, RandomText) {
    std::mt19937 random(20261121);
    for (int round = 0; round < 20; ++round) {
        std::string text;
        const unsigned share = 2 + static_cast<unsigned>(random() % 100);
        while (text.size() < 2 * pieceSize + random() % 1000)
            text += static_cast<char>(random() % share == 0 ? random() % 256 : 'a' + random() % 26);
        for (const char16_t* charset : charsets) expectTheSame(text, charset);
    }
}

TEST(TextPieces, OneOctetOfAnotherKindAtTheEndDecidesForAll) {
    const std::string text = std::string(pieceSize, 'a') + "\xC3\xA4" + std::string(pieceSize, 'b');
    expectTheSame(text, u"US-ASCII");
    expectTheSame(text + "\xFC", u"US-ASCII");
}

TEST(TextPieces, AnEmptyTextHasNone) {
    std::size_t pieces = 0;
    EXPECT_EQ(inPieces("", u"UTF-8", pieces), "");
    EXPECT_EQ(pieces, 0U);
}

TEST(TextPieces, WhatDependsOnWhatWentBeforeIsNotCut) {
    for (const char16_t* charset : {u"ISO-2022-JP", u"Shift_JIS", u"GBK", u"GB2312", u"Big5",
                                    u"EUC-KR", u"UTF-16", u"UTF-7", u"HZ-GB-2312"})
        EXPECT_FALSE(writeInPieces("a", charset, [](std::string_view) { FAIL(); }))
            << Printable(Zeb_String(charset));
}

}  // namespace
