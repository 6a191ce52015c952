// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/rfc2822encoder/encoder_fixtures.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

namespace {

const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::optional<std::time_t> fixedTime;

}  // namespace

// The linker leads every call of time() here, by these names.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" std::time_t __real_time(std::time_t* out);
extern "C" std::time_t __wrap_time(std::time_t* out) {
    if (!fixedTime) return __real_time(out);
    if (out != nullptr) *out = *fixedTime;
    return *fixedTime;
}
// NOLINTEND(bugprone-reserved-identifier)

Zeb_String units(std::u16string_view text) {
    return Zeb_String::FromUnits(text.data(), text.size());
}

std::string slowBase64(const std::string& octets) {
    std::string text;
    unsigned bits = 0;
    int count = 0;
    for (const char octet : octets) {
        bits = (bits << 8 | static_cast<unsigned char>(octet)) & 0xFFFF;
        for (count += 8; count >= 6; count -= 6) text += alphabet[bits >> (count - 6) & 63];
    }
    if (count > 0) text += alphabet[bits << (6 - count) & 63];
    while (text.size() % 4 != 0) text += '=';
    return text;
}

std::string decodeBase64(const std::string& text) {
    std::string octets;
    unsigned bits = 0;
    int count = 0;
    for (const char digit : text.substr(0, text.find('='))) {
        const std::size_t value = alphabet.find(digit);
        if (value == std::string::npos) ADD_FAILURE() << "no digit of base64: " << digit;
        bits = (bits << 6 | static_cast<unsigned>(value)) & 0xFFFF;
        count += 6;
        if (count < 8) continue;
        count -= 8;
        octets += static_cast<char>(bits >> count);
    }
    EXPECT_EQ(slowBase64(octets), text);
    return octets;
}

std::vector<std::string> encodedWords(const std::string& field, const std::string& name) {
    const std::string lead = "=?UTF-8?B?";
    std::vector<std::string> words;
    std::size_t pos = 0;
    std::string start = name + ": ";
    while (pos < field.size()) {
        const std::size_t lineEnd = field.find("\r\n", pos);
        if (lineEnd == std::string::npos || field.compare(pos, start.size(), start) != 0) break;
        std::string word = field.substr(pos + start.size(), lineEnd - pos - start.size());
        pos = lineEnd + 2;
        if (pos == field.size() && !word.empty() && word.back() == ' ') word.pop_back();
        if (word.size() < 12 || word.size() > 72 || !word.starts_with(lead) ||
            !word.ends_with("?="))
            ADD_FAILURE() << "no encoded word: " << word;
        words.push_back(decodeBase64(word.substr(10, word.size() - 12)));
        start = " ";
    }
    EXPECT_EQ(pos, field.size()) << "no field of encoded words";
    EXPECT_TRUE(field.ends_with("?= \r\n"));
    return words;
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) all += text;
    return all;
}

std::size_t countOf(const std::string& part, const std::string& text) {
    std::size_t count = 0;
    for (std::size_t pos = 0; (pos = text.find(part, pos)) != std::string::npos; pos += part.size())
        ++count;
    return count;
}

std::string field(const Zeb_String& value, const Zeb_String& name) {
    std::string out = "old";
    EXPECT_TRUE(encodeRFC2047Unstructured(AdCharset::getUTF8Charset(), name, value, out));
    return out;
}

std::string message(const RFC2822Encoder& encoder, bool eightBit) {
    std::ostringstream out;
    encoder.getData(eightBit, out);
    EXPECT_TRUE(out.good());
    return out.str();
}

std::string headerOf(const std::string& message) {
    const std::size_t end = message.find("\r\n\r\n");
    if (end == std::string::npos) ADD_FAILURE() << "no empty line: " << message;
    return message.substr(0, end + 2);
}

std::string bodyOf(const std::string& message) {
    return message.substr(headerOf(message).size() + 2);
}

std::string fieldOf(const std::string& message, const std::string& name) {
    const std::string lines = "\r\n" + headerOf(message);
    const std::string start = "\r\n" + name + ": ";
    EXPECT_EQ(countOf(start, lines), 1U) << name << " in " << lines;
    const std::size_t pos = lines.find(start);
    if (pos == std::string::npos) return "";
    const std::size_t value = pos + start.size();
    return lines.substr(value, lines.find("\r\n", value) - value);
}

FixedClock::FixedClock(std::time_t now, const char* zone) {
    if (const char* before = std::getenv("TZ")) zoneBefore_ = before;
    setenv("TZ", zone, 1);
    set(now);
}

FixedClock::~FixedClock() {
    fixedTime.reset();
    if (zoneBefore_)
        setenv("TZ", zoneBefore_->c_str(), 1);
    else
        unsetenv("TZ");
}

void FixedClock::set(std::time_t now) { fixedTime = now; }

std::time_t utcTime(int year, int month, int day, int hour, int minute, int second) {
    std::tm parts{};
    parts.tm_year = year - 1900;
    parts.tm_mon = month - 1;
    parts.tm_mday = day;
    parts.tm_hour = hour;
    parts.tm_min = minute;
    parts.tm_sec = second;
    return timegm(&parts);
}
