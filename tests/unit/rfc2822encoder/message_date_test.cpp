// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "tests/unit/rfc2822encoder/encoder_fixtures.h"

namespace {

const char* const months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                              "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

std::string dateNow() { return fieldOf(message(RFC2822Encoder()), "Date"); }

TEST(MessageDate, EveryMonthHasItsName) {
    for (int month = 1; month <= 12; ++month) {
        const FixedClock clock(utcTime(2023, month, 17, 12, 0, 0), "UTC0");
        EXPECT_EQ(dateNow(), std::string("17 ") + months[month - 1] + " 2023 12:00:00 +0000");
    }
}

TEST(MessageDate, TimeHasTwoDigitsAndTheDayHasNoZero) {
    const FixedClock clock(utcTime(2001, 2, 3, 4, 5, 6), "UTC0");
    EXPECT_EQ(dateNow(), "3 Feb 2001 04:05:06 +0000");
}

TEST(MessageDate, LastSecondOfAYear) {
    const FixedClock clock(utcTime(1999, 12, 31, 23, 59, 59), "UTC0");
    EXPECT_EQ(dateNow(), "31 Dec 1999 23:59:59 +0000");
}

TEST(MessageDate, LocalTimeAndItsOffset) {
    const struct {
        const char* zone;
        const char* expected;
    } rows[] = {
        {"UTC0", "29 Feb 2024 22:30:00 +0000"},    {"XST-1", "29 Feb 2024 23:30:00 +0100"},
        {"XST-5:30", "1 Mar 2024 04:00:00 +0530"}, {"XST-14", "1 Mar 2024 12:30:00 +1400"},
        {"XST5", "29 Feb 2024 17:30:00 -0500"},    {"XST3:30", "29 Feb 2024 19:00:00 -0330"},
        {"XST0:30", "29 Feb 2024 22:00:00 -0030"},
    };
    for (const auto& row : rows) {
        const FixedClock clock(utcTime(2024, 2, 29, 22, 30, 0), row.zone);
        EXPECT_EQ(dateNow(), row.expected) << row.zone;
    }
}

TEST(MessageDate, SummerTimeHasItsOwnOffset) {
    const char* const zone = "XST-1XDT,M3.5.0,M10.5.0/3";
    FixedClock clock(utcTime(2024, 1, 10, 11, 0, 0), zone);
    EXPECT_EQ(dateNow(), "10 Jan 2024 12:00:00 +0100");
    clock.set(utcTime(2024, 7, 10, 11, 0, 0));
    EXPECT_EQ(dateNow(), "10 Jul 2024 13:00:00 +0200");
}

TEST(MessageDate, SecondMessageOfOneEncoderHasANewDate) {
    RFC2822Encoder encoder;
    encoder.setSubject(u"s");
    encoder.setBody(u"b");
    FixedClock clock(utcTime(2024, 3, 5, 7, 8, 9), "UTC0");
    const std::string first = message(encoder);
    clock.set(utcTime(2024, 3, 5, 7, 8, 10));
    std::string second = message(encoder);
    EXPECT_EQ(fieldOf(first, "Date"), "5 Mar 2024 07:08:09 +0000");
    EXPECT_EQ(fieldOf(second, "Date"), "5 Mar 2024 07:08:10 +0000");
    second.replace(second.find("07:08:10"), 8, "07:08:09");
    EXPECT_EQ(second, first);
}

// Seconds since the epoch of a date field; fails the test when it has another form.
std::time_t parsed(const std::string& date) {
    std::tm parts{};
    const char* const end = strptime(date.c_str(), "%d %b %Y %H:%M:%S %z", &parts);
    if (end == nullptr || *end != '\0') {
        ADD_FAILURE() << date;
        return 0;
    }
    const long offset = parts.tm_gmtoff;
    // Written again, it is the same: no digit too many or too few.
    char rest[64];
    std::strftime(rest, sizeof rest, " %b %Y %H:%M:%S %z", &parts);
    EXPECT_EQ(std::to_string(parts.tm_mday) + rest, date);
    return utcTime(parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour,
                   parts.tm_min, parts.tm_sec) -
           offset;
}

TEST(MessageDate, IsNowAndNamesNoDayOfTheWeek) {
    for (const char* zone : {"UTC0", "XST-5:45", "XST7"}) {
        setenv("TZ", zone, 1);
        const std::time_t before = std::time(nullptr);
        const std::time_t written = parsed(dateNow());
        EXPECT_GE(written, before) << zone;
        EXPECT_LE(written, std::time(nullptr)) << zone;
    }
    unsetenv("TZ");
}

}  // namespace
