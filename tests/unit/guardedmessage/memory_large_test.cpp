// SPDX-License-Identifier: Apache-2.0
// What guarded decoding and all that is asked of its tree take at the peak, for messages that
// repeat one thing: at most 8 times the message and 1 MiB.
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/unit/entitydecoder/entity_fixtures.h"
#include "tests/unit/guardedmessage/counted_memory.h"
#include "tests/unit/guardedmessage/guarded_fixtures.h"
#include "tests/unit/guardedmessage/small_stack.h"

namespace {

constexpr std::size_t kibibyte = 1024;
constexpr std::size_t mebibyte = 1024 * kibibyte;

/// A beginning, and pieces up to a size. The number makes names distinct.
struct Family {
    const char* name;
    std::string beginning;
    std::function<std::string(std::size_t number)> piece;
    std::string end;
};

void PrintTo(const Family& family, std::ostream* out) { *out << family.name; }

std::function<std::string(std::size_t)> always(const std::string& piece) {
    return [piece](std::size_t) { return piece; };
}

/// The shortest distinct names first.
std::string nameOf(std::size_t number) {
    static const std::string letters = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::string name;
    for (;; number = number / letters.size() - 1) {
        name += letters[number % letters.size()];
        if (number < letters.size()) return name;
    }
}

std::string boundaryOf(std::size_t number) { return "B" + std::to_string(1'000'000 + number); }

const std::string multipart = "Content-Type: multipart/mixed; boundary=b\n\n";
const std::string quotedPrintable = "Content-Transfer-Encoding: quoted-printable\n\n";

std::vector<Family> headerFamilies() {
    return {
        {"addresses", "To: ", always("a@b,"), "c@d\n\n"},
        {"addresses in fields", "", always("To: a@b,a@b,a@b,a@b,a@b,a@b,\n"), "\n"},
        {"addresses with names", "Cc: ", always("\"A, b\" <a@example.com>,\n "), "c@d\n\n"},
        {"an address of quoted commas", "To: \"\n", always("To: ,,,,,,,,\n"), "\n"},
        {"a quoted string of beginnings of words",
         "To: \"\n" + repeated("To: " + repeated("=?", 479) + "\n", 1026), always("a:b\n"),
         "To: \"\n\n"},
        {"one long address", "To: ", always("aaaaaaaa"), "@b\n\n"},
        {"commas", "To: ", always(","), "\n\n"},
        {"comments", "To: ", always("(a)"), "c@d\n\n"},
        {"open comments", "To: ", always("("), "\n\n"},
        {"one long comment", "To: (", always("aaaa"), ")c@d\n\n"},
        {"quotes", "To: ", always("\"\""), "c@d\n\n"},
        {"one long quoted string", "To: \"", always("\\\"a"), "\" <c@d>\n\n"},
        {"words of a name", "To: ", always("a "), "<c@d>\n\n"},
        {"encoded words", "Subject: ", always("=?utf-8?q?=C3=A4?= "), "\n\n"},
        {"empty encoded words", "Subject: ",
         always("=?a?q?"
                "?="),
         "\n\n"},
        {"one long encoded word", "Subject: =?utf-8?b?", always("QUJD"), "?=\n\n"},
        {"encoded words that name a compression",
         "Subject: ", always("=?SCSU?Q?\x0B\x81\x80" + std::string(992, '\xFF') + "?= "), "\n\n"},
        {"beginnings of words", "Subject: ", always("=?"), "\n\n"},
        {"sections", "Content-Type: a/b",
         [](std::size_t n) { return ";x*" + std::to_string(n) + "=a"; }, "\n\n"},
        {"sections without semicolons", "Content-Type: a/b;x*0=a",
         [](std::size_t n) { return " x*" + std::to_string(n) + "=a"; }, "\n\n"},
        {"sections of names", "Content-Type: a/b",
         [](std::size_t n) { return ";" + nameOf(n) + "*0=a"; }, "\n\n"},
        {"one long section", "Content-Type: a/b;x*0*=utf-8''", always("%C3%A4"), "\n\n"},
        {"one long plain section", "Content-Type: a/b;x*0=", always("aaaa"), "\n\n"},
        {"one long section of blanks", "Content-Type: a/b;x*0=\"", always("    "), "\"\n\n"},
        {"one long section of percent signs", "Content-Type: a/b;x*0=", always("%%%%"), "\n\n"},
        {"sections of percent signs", "Content-Type: a/b",
         [](std::size_t n) { return ";x*" + std::to_string(n) + "=" + std::string(5000, '%'); },
         "\n\n"},
        {"parameters", "Content-Type: a/b", [](std::size_t n) { return ";" + nameOf(n) + "=a"; },
         "\n\n"},
        {"one long parameter", "Content-Type: a/b;x=", always("aaaa"), "\n\n"},
        {"header lines", "", [](std::size_t n) { return nameOf(n) + ":b\n"; }, "\n"},
        {"the same header line", "", always("a:b\n"), "\n"},
        {"header lines without colon", "", always("a\n"), "\n"},
        {"empty header lines", "", always("a:\n"), "\n"},
        {"folded lines", "Subject: a", always("\n b"), "\n\n"},
        {"one long header", "Subject: ", always("a"), "\n\n"},
        {"one long header of 8 bit", "Subject: ", always("\xC3\xA4"), "\n\n"},
        {"one long name", "", always("aaaa"), ":b\n\n"},
    };
}

std::string nestedMultipart(std::size_t number) {
    const std::string boundary = boundaryOf(number);
    return "Content-Type: multipart/mixed; boundary=" + boundary + "\n\n--" + boundary + "\n";
}

/// Of the 37 * 36 shortest names.
std::string manyParameters() {
    std::string text;
    for (std::size_t number = 0; number < 1332; ++number) text += ";" + nameOf(number) + "=b";
    return text;
}

std::string nestedMultipartOfManyParameters(std::size_t number) {
    const std::string boundary = boundaryOf(number);
    return "Content-Type: multipart/mixed; boundary=" + boundary + manyParameters() + "\n\n--" +
           boundary + "\n";
}

std::string nested(std::size_t levels) {
    std::string text;
    for (std::size_t level = 0; level < levels; ++level) text += nestedMultipart(level);
    return text + "\n";
}

std::string messageOfALongBoundary() {
    return "Content-Type: message/rfc822; boundary=" + std::string(10'000, 'b') + "\n\n";
}

/// Its second field ends what is read of the first one.
const std::string partOfALongName =
    "--b\nContent-Type: text/plain; charset=" + std::string(20'000, 'x') + "\nContent-Type: x\n\n";

std::string partOfSmallFields() {
    std::string part = "--b\n";
    for (int c = '!'; c <= '~'; ++c)
        if (c != ':') part += static_cast<char>(c) + std::string(":b\n");
    return part + "\n";
}

std::vector<Family> bodyFamilies() {
    return {
        {"nested multiparts", "", nestedMultipart, "\n"},
        {"nested multiparts of many parameters", "", nestedMultipartOfManyParameters, "\n"},
        {"nested messages of many parameters", "",
         always("Content-Type: message/rfc822" + manyParameters() + "\n\n"), "\n"},
        {"nested messages of long boundaries", "", always(messageOfALongBoundary()), "\n"},
        {"small fields behind long names of charsets", multipart + repeated(partOfALongName, 91),
         always(partOfSmallFields()), "--b--\n"},
        {"nested messages", "", always("Content-Type: message/rfc822\n\n"), "\n"},
        {"messages side by side", multipart, always("--b\nContent-Type: message/rfc822\n\n\n"),
         "--b--\n"},
        {"multiparts side by side", multipart,
         always("--b\nContent-Type: multipart/mixed\n\n--\n\n--\n\n----\n"), "--b--\n"},
        {"smallest parts", multipart, always("--b\n\n"), "--b--\n"},
        {"parts", multipart, always("--b\nContent-Type: text/plain\n\nabc\n"), "--b--\n"},
        {"parts of base64", multipart, always("--b\nContent-Transfer-Encoding:base64\n\nQQ\n"),
         "--b--\n"},
        {"parts with a small field", multipart, always("--b\na:b\n\n"), "--b--\n"},
        {"smallest parts without boundary", "Content-Type: multipart/mixed\n\n", always("--\n\n"),
         ""},
        {"base64", "Content-Type: a/b\nContent-Transfer-Encoding: base64\n\n",
         always("QUJDREVGR0hJ\n"), ""},
        {"quoted-printable", quotedPrintable, always("=C3=A4=\n"), ""},
        {"malformed escapes", quotedPrintable, always("=zz"), ""},
        {"text", "Content-Type: text/plain; charset=utf-8\n\n", always("abcdefg\n"), ""},
        {"boundary look-alikes", multipart, always("--a\n--\n\n-"), "--b--\n"},
        {"all at once", "To: " + repeated("a@b,", 20'000) + "\n" + nested(98),
         always("--" + boundaryOf(97) + "\nx\n\n"), ""},
    };
}

std::string textOf(const Family& family, std::size_t size) {
    std::string text = family.beginning;
    for (std::size_t number = 0; text.size() < size; ++number) text += family.piece(number);
    return text + family.end;
}

/// Takes wide text and keeps nothing of it.
class NoTarget : public std::basic_streambuf<unsigned short> {
  protected:
    int_type overflow(int_type unit) override { return unit; }
    std::streamsize xsputn(const unsigned short* /*units*/, std::streamsize count) override {
        return count;
    }
};

void ask(MIMEDecoder& entity);

void askMessage(const RFC2822Decoder& message) {
    message.getSubject();
    message.getSender();
    message.getTo();
    message.getCc();
    ask(*message.getMessageEntity());
}

void ask(MIMEDecoder& entity) {
    entity.getMIMEHeader(u"Content-Type", "");
    if (const MIMEMultipartDecoder* multiparts = entity.getMultipartDecoder())
        for (MIMEDecoder* part : multiparts->getParts()) ask(*part);
    if (const RFC2822Decoder* message = entity.getMessageDecoder()) askMessage(*message);
    if (const MIMETextDecoder* text = entity.getTextDecoder()) {
        NoTarget target;
        std::basic_ostream<unsigned short> out(&target);
        text->getText(out);
    }
}

std::size_t peakOf(const std::string& text) {
    std::size_t peak = 0;
    onSmallStack([&] {
        GeneratedSource source(text, "x", 0, "");
        std::istream in(&source);
        const CountedMemory memory;
        const GuardedMessage message(in);
        askMessage(message.getMessage());
        peak = memory.peak();
    });
    return peak;
}

class PeakMemory : public testing::TestWithParam<Family> {};

TEST_P(PeakMemory, IsWithin8TimesTheMessageAnd1Mebibyte) {
    // About where the overhead, entities and octets of a header block reach their limits.
    for (const std::size_t size : {8 * kibibyte, 100 * kibibyte, mebibyte - 64, 2 * mebibyte}) {
        if (isSanitized && size > mebibyte) continue;
        const std::string text = textOf(GetParam(), size);
        const std::size_t peak = peakOf(text);
        EXPECT_LE(peak, 8 * text.size() + mebibyte) << text.size();
    }
}

std::string caseName(const testing::TestParamInfo<Family>& family) {
    std::string name;
    for (const char c : std::string(family.param.name)) name += std::isalnum(c) != 0 ? c : '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(Headers, PeakMemory, testing::ValuesIn(headerFamilies()), caseName);
INSTANTIATE_TEST_SUITE_P(Bodies, PeakMemory, testing::ValuesIn(bodyFamilies()), caseName);

}  // namespace
