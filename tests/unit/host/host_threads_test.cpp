// SPDX-License-Identifier: Apache-2.0
// What several threads may do at once. Run it under ThreadSanitizer, too.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "host/host.h"
#include "tests/unit/host/settings_folder.h"
#include "tests/unit/host/units.h"

namespace {

constexpr int threadCount = 8;
constexpr AdDiagnosticId mailId = 11;

/// Runs `work` with the numbers 0 to count - 1, each in a thread of its own, and waits for all.
template <typename Work>
void inThreads(int count, Work work) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < count; ++i) threads.emplace_back([work, i] { work(i); });
}

TEST(DiagnosticThreads, ReportsComeOneAtATimeAndNoneIsLost) {
    constexpr int reportsEach = 1000;
    std::vector<std::string> reports;  // not guarded: the reporter is called by one at a time
    AdDiagnostic::SetReporter([&](const Zeb_String& tag, const Zeb_String& message) {
        reports.push_back(utf8(tag) + utf8(message));
    });
    inThreads(threadCount, [](int thread) {
        for (int i = 0; i < reportsEach; ++i)
            AdDiagnostic::Report(wide(std::to_string(thread)), wide(":" + std::to_string(i)));
    });
    AdDiagnostic::SetReporter({});
    ASSERT_EQ(reports.size(), static_cast<std::size_t>(threadCount) * reportsEach);
    for (int thread = 0; thread < threadCount; ++thread) {
        const std::string tag = std::to_string(thread) + ":";
        int next = 0;
        for (const std::string& report : reports) {
            if (!report.starts_with(tag)) continue;
            EXPECT_EQ(report, tag + std::to_string(next));
            ++next;
        }
        EXPECT_EQ(next, reportsEach);
    }
}

TEST(DiagnosticThreads, ReporterAndFlagsMayChangeWhileOthersReport) {
    constexpr int rounds = 2000;
    std::atomic<int> received = 0;
    const auto count = [&](const Zeb_String&, const Zeb_String&) { ++received; };
    AdDiagnostic::SetReporter(count);
    std::atomic<int> sent = 0;
    inThreads(threadCount, [&](int thread) {
        for (int i = 0; i < rounds; ++i) {
            if (thread == 0) AdDiagnostic::SetReporter(count);
            if (thread == 1) AdDiagnostic::Enable(mailId, i % 2 == 0);
            if (thread < 2 || !AdDiagnostic::m_DiagnosticFlags[mailId]) continue;
            if (!AdDiagnostic::IsEnabled(mailId)) continue;
            AdDiagnostic::Report(u"tag", u"text");
            ++sent;
        }
    });
    AdDiagnostic::SetReporter({});
    AdDiagnostic::Enable(mailId, false);
    EXPECT_EQ(sent, received);
}

TEST(DiagnosticThreads, LinesOfTheDefaultReporterStayWhole) {
    constexpr int reportsEach = 100;
    testing::internal::CaptureStderr();
    inThreads(threadCount, [](int thread) {
        const Zeb_String message(static_cast<unsigned short>(u'a' + thread), 5000);
        for (int i = 0; i < reportsEach; ++i) AdDiagnostic::Report(u"tag", message);
    });
    std::istringstream lines(testing::internal::GetCapturedStderr());
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count)
        EXPECT_EQ(line, "tag: " + std::string(5000, line.back()));
    EXPECT_EQ(count, threadCount * reportsEach);
}

TEST(CharsetThreads, SharedCharsetsMayBeUsedByAll) {
    std::atomic<int> failures = 0;
    const AdCharset shared(u"Shift_JIS");
    inThreads(threadCount, [&](int thread) {
        const Zeb_String text = u"caf\u00E9 \u65E5\u672C" + wide(std::to_string(thread));
        for (int i = 0; i < 200; ++i) {
            AdMbcsString octets;
            Zeb_String back;
            if (!octets.cvtFromTchar(AdCharset::getUTF8Charset(), text, 0)) ++failures;
            if (!octets.cvtToTchar(back, 0) || back != text) ++failures;
            if (octets.cvtFromTchar(AdCharset::getASCIICharset(), text, 0)) ++failures;
            if (!octets.cvtFromTchar(shared, text.Mid(5, 100), 0)) ++failures;
            if (!octets.cvtToTchar(back, 0) || back != text.Mid(5, 100)) ++failures;
            if (!AdCharset(u"windows-1252").isKnown()) ++failures;
            if (AdCharset::getDefaultCharset().getMimeName() != u"UTF-8") ++failures;
        }
    });
    EXPECT_EQ(0, failures);
}

TEST(SettingsThreads, WritersLoseNothingAndReadersSeeWholeFiles) {
    constexpr int writesEach = 20;
    const SettingsFolder folder;
    ASSERT_EQ(folder.put(u"Stable", u"value"), "");
    std::atomic<int> failures = 0;
    const auto keyOf = [](int thread, int i) {
        return wide(std::to_string(thread) + "." + std::to_string(i));
    };
    inThreads(threadCount, [&](int thread) {
        for (int i = 0; i < writesEach; ++i) {
            if (!folder.put(keyOf(thread, i), u"a\nvalue").empty()) ++failures;
            if (folder.get(u"Stable") != u"value") ++failures;
            if (folder.get(keyOf(thread, i)) != u"a\nvalue") ++failures;
        }
    });
    EXPECT_EQ(0, failures);
    for (int thread = 0; thread < threadCount; ++thread)
        for (int i = 0; i < writesEach; ++i)
            EXPECT_EQ(folder.get(keyOf(thread, i)), u"a\nvalue") << thread << '.' << i;
    EXPECT_EQ(folder.names(), std::vector<std::string>{"SendMail.conf"});
}

TEST(SettingsThreads, AThreadKeepsItsTextWhileOthersAsk) {
    const SettingsFolder folder;
    ASSERT_EQ(folder.put(u"Key", u"a value longer than any small buffer"), "");
    Zeb_Condition condition;
    Zeb_String* value = nullptr;
    ASSERT_TRUE(Sov_Settings::Get_Setting(condition, folder.location(), u"Key", value));
    inThreads(threadCount, [&](int thread) {
        EXPECT_EQ(folder.put(wide(std::to_string(thread)), u"other"), "");
        EXPECT_EQ(folder.get(wide(std::to_string(thread))), u"other");
    });
    EXPECT_EQ(*value, u"a value longer than any small buffer");
}

TEST(CatalogThreads, MessagesMayBeFormattedByAll) {
    std::atomic<int> failures = 0;
    Zeb_String expected;
    expected.Format(25977u, 5);
    inThreads(threadCount, [&](int) {
        for (int i = 0; i < 200; ++i) {
            Zeb_String text;
            text.Format(25977u, 5);
            if (text != expected) ++failures;
        }
    });
    EXPECT_EQ(0, failures);
}

}  // namespace
