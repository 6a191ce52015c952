// SPDX-License-Identifier: Apache-2.0
#include "host/addatetime.h"

#include <gtest/gtest.h>

#include <ctime>

#include "tests/unit/host/scoped_environment.h"
#include "tests/unit/host/units.h"

namespace {

/// The time zone of the process for the length of a test.
class ScopedTimeZone {
  public:
    explicit ScopedTimeZone(std::optional<std::string> zone) : variable_("TZ", std::move(zone)) {
        tzset();
    }

  private:
    ScopedEnvironment variable_;
};

std::time_t asUtc(const AdDateTime& moment) {
    std::tm fields{};
    fields.tm_year = moment.GetYear() - 1900;
    fields.tm_mon = moment.GetMonth() - 1;
    fields.tm_mday = moment.GetDay();
    fields.tm_hour = moment.GetHour();
    fields.tm_min = moment.GetMinute();
    fields.tm_sec = moment.GetSecond();
    return timegm(&fields);
}

struct Row {
    const char* zone;
    const char16_t* offset;
    std::time_t secondsEast;
};

// In TZ the sign counts to the west.
const Row rows[] = {
    {"UTC0", u"+0000", 0},         {"UTC-1", u"+0100", 3600},
    {"UTC+1", u"-0100", -3600},    {"UTC+3:30", u"-0330", -12600},
    {"UTC-5:45", u"+0545", 20700}, {"UTC+0:30", u"-0030", -1800},
    {"UTC-0:01", u"+0001", 60},    {"UTC-14", u"+1400", 50400},
    {"UTC+12", u"-1200", -43200},  {"<+0930>-9:30", u"+0930", 34200},
};

TEST(AdDateTime, OffsetIsASignAndFourDigits) {
    for (const Row& row : rows) {
        const ScopedTimeZone zone(row.zone);
        EXPECT_EQ(AdDateTime::GetCurrentTime().GetTimezoneOffset(), row.offset) << row.zone;
    }
}

TEST(AdDateTime, FieldsAreTheLocalTimeNow) {
    for (const Row& row : rows) {
        const ScopedTimeZone zone(row.zone);
        const std::time_t before = std::time(nullptr);
        const std::time_t moment = asUtc(AdDateTime::GetCurrentTime()) - row.secondsEast;
        const std::time_t after = std::time(nullptr);
        EXPECT_LE(before, moment) << row.zone;
        EXPECT_LE(moment, after) << row.zone;
    }
}

TEST(AdDateTime, FieldsCountAsPeopleDo) {
    const ScopedTimeZone zone("UTC0");
    const std::time_t before = std::time(nullptr);
    const AdDateTime moment = AdDateTime::GetCurrentTime();
    if (std::time(nullptr) / 86400 != before / 86400) GTEST_SKIP() << "midnight just passed";
    std::tm today{};
    gmtime_r(&before, &today);
    EXPECT_EQ(moment.GetYear(), today.tm_year + 1900);
    EXPECT_EQ(moment.GetMonth(), today.tm_mon + 1);
    EXPECT_EQ(moment.GetDay(), today.tm_mday);
}

TEST(AdDateTime, AZoneThatIsNoneIsUtc) {
    for (const char* name : {"No/Such_Zone", "UTC"}) {
        const ScopedTimeZone zone(name);
        EXPECT_EQ(AdDateTime::GetCurrentTime().GetTimezoneOffset(), u"+0000") << name;
    }
}

TEST(AdDateTime, IsAValue) {
    const ScopedTimeZone zone("UTC-1");
    AdDateTime first = AdDateTime::GetCurrentTime();
    const AdDateTime copy(first);
    EXPECT_EQ(asUtc(copy), asUtc(first));
    first = copy;
    EXPECT_EQ(first.GetTimezoneOffset(), u"+0100");
}

}  // namespace
